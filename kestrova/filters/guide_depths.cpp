#include "kestrova/filters/guide_depths.h"

#include "kestrova/frame/kernel.h"
#include "kestrova/frame/saturate.h"

namespace kestrova::filters {

namespace {

/// A depth as it is.
struct Exact {
    float operator()(float depth) const { return depth; }
    float operator()(double depth) const { return static_cast<float>(depth); }
};

/// A depth as a byte.
struct Nearest {
    int most;
    uchar operator()(float depth) const { return static_cast<uchar>(frame::roundClamped(depth, most)); }
};

template <class Real, class Value, class Stored, class Depth>
KESTROVA_KERNEL void depthRow(const Value* __restrict values, Real alpha, Real beta, Stored stored,
                              Depth* __restrict depths, int n) noexcept {
    for (int x = 0; x < n; ++x) depths[x] = stored(static_cast<Real>(values[x]) * alpha + beta);
}

template <class Real, class Value, class Stored, class Depth>
void depthsOf(const cv::Mat& guide, int y, int x, double alpha, double beta, Stored stored, Depth* depths,
              int n) noexcept {
    depthRow(guide.ptr<Value>(y, x), static_cast<Real>(alpha), static_cast<Real>(beta), stored, depths, n);
}

template <class RealOfDoubles, class Stored, class Depth>
void depthsByType(const cv::Mat& guide, int y, int x, double alpha, double beta, Stored stored, Depth* depths,
                  int n) noexcept {
    switch (guide.depth()) {
        case CV_8U: return depthsOf<float, uchar>(guide, y, x, alpha, beta, stored, depths, n);
        case CV_8S: return depthsOf<float, schar>(guide, y, x, alpha, beta, stored, depths, n);
        case CV_16U: return depthsOf<float, ushort>(guide, y, x, alpha, beta, stored, depths, n);
        case CV_16S: return depthsOf<float, short>(guide, y, x, alpha, beta, stored, depths, n);
        case CV_32S: return depthsOf<float, int>(guide, y, x, alpha, beta, stored, depths, n);
        case CV_32F: return depthsOf<float, float>(guide, y, x, alpha, beta, stored, depths, n);
        default: return depthsOf<RealOfDoubles, double>(guide, y, x, alpha, beta, stored, depths, n);
    }
}

}  // namespace

void GuideDepths::nearest(int y, int x, int n, uchar* depths) const noexcept {
    depthsByType<float>(m_guide, y, x, m_alpha, m_beta, Nearest{m_most}, depths, n);
}

uchar GuideDepths::nearestOf(int value) const noexcept {
    return Nearest{m_most}(static_cast<float>(value) * static_cast<float>(m_alpha) + static_cast<float>(m_beta));
}

int GuideDepths::lastValue(int depth) const noexcept {
    int low = 0, high = 65535;
    while (low < high) {
        const int middle = (low + high + 1) / 2;
        if (nearestOf(middle) <= depth)
            low = middle;
        else
            high = middle - 1;
    }
    return low;
}

void GuideDepths::exact(int y, int x, int n, float* depths) const noexcept {
    depthsByType<double>(m_guide, y, x, m_alpha, m_beta, Exact(), depths, n);
}

}  // namespace kestrova::filters
