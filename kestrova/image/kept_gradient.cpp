#include "kestrova/image/kept_gradient.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/rows/gauss_rows.h"
#include "kestrova/rows/linear_rows.h"

namespace kestrova::image {

using namespace frame;
using namespace rows;

namespace {

using Gauss = gauss_rows::Gauss5x5;
constexpr int kRadius = Gauss::kRadius, kWindow = 2 * kRadius + 1;
constexpr float kBytesOfOne = 0x1.555556p+5f;  // 256 / 6

// The fields that are smoothed.
enum Field { kBeforeX, kBeforeY, kAfterX, kAfterY, kFields };

struct LuminanceRow {
    const ushort* at;
    const ushort* below;
};

// Squares of the differences before, products of those after with them.
KESTROVA_KERNEL void multiply(LuminanceRow before, LuminanceRow after, float* __restrict beforeX,
                              float* __restrict beforeY, float* __restrict afterX, float* __restrict afterY,
                              int n) noexcept {
    const ushort *o = before.at, *oBelow = before.below, *a = after.at, *aBelow = after.below;
    for (int x = 0; x < n; ++x) {
        const float gy = static_cast<float>(oBelow[x] - o[x]), ny = static_cast<float>(aBelow[x] - a[x]);
        beforeY[x] = gy * gy;
        afterY[x] = ny * gy;
    }
    for (int x = 0; x < n - 1; ++x) {
        const float gx = static_cast<float>(o[x + 1] - o[x]), nx = static_cast<float>(a[x + 1] - a[x]);
        beforeX[x] = gx * gx;
        afterX[x] = nx * gx;
    }
    beforeX[n - 1] = afterX[n - 1] = 0.0f;
}

KESTROVA_KERNEL void divide(const float* __restrict beforeX, const float* __restrict beforeY,
                            const float* __restrict afterX, const float* __restrict afterY, float e,
                            uchar* __restrict weight, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const float kept = (afterX[x] + afterY[x] + e) / (beforeX[x] + beforeY[x] + e);
        weight[x] = sat8(kept * kBytesOfOne);
    }
}

// Columns 2x and 2x + 1 midway between rows `a` and `b`, which are the same on an even row.
KESTROVA_KERNEL void enlargeRow(const uchar* __restrict a, const uchar* __restrict b, uchar* __restrict out,
                                int pairs) noexcept {
    const auto sum = [=](std::ptrdiff_t x) { return a[x] + b[x]; };
    enlargeLinearly<2, LinearGrid::kAligned>(sum, 1, pairs, out);
}

// `row` has `n` pixels and room for `border` more on either side.
template <class Pixel>
void repeatEnds(Pixel* row, int n, int border) noexcept {
    std::fill_n(row - border, border, row[0]);
    std::fill_n(row + n, border, row[n - 1]);
}

// One strip's window of five rows on each of the fields, filled from wherever the strip begins.
class Smoothing {
public:
    Smoothing(const cv::Mat& before, const cv::Mat& after, float e)
        : m_before(before),
          m_after(after),
          m_e(e),
          m_rows(kFields * kWindow, before.cols + 2 * kRadius, CV_32FC1),
          m_smooth(kFields, before.cols, CV_32FC1),
          m_scratch(gauss_rows::kScratch<Gauss>) {}

    // The weights of row `y`; cheap if the row before was the last one.
    void weigh(int y, uchar* weight) noexcept {
        const int last = m_before.rows - 1, n = m_before.cols;
        if (y != m_last + 1) m_next = std::max(y - kRadius, 0);
        m_last = y;
        for (; m_next <= std::min(y + kRadius, last); ++m_next) multiplyRow(m_next);
        for (int f = 0; f < kFields; ++f) {
            const float* window[kWindow];
            for (int i = 0; i < kWindow; ++i) window[i] = row(f, std::clamp(y + i - kRadius, 0, last)) - kRadius;
            gauss_rows::filterRow<Gauss>(window, m_smooth.ptr<float>(f), n, m_scratch.data());
        }
        divide(m_smooth.ptr<float>(kBeforeX), m_smooth.ptr<float>(kBeforeY), m_smooth.ptr<float>(kAfterX),
               m_smooth.ptr<float>(kAfterY), m_e, weight, n);
    }

private:
    float* row(int field, int y) noexcept { return m_rows.ptr<float>(field * kWindow + y % kWindow) + kRadius; }

    void multiplyRow(int y) noexcept {
        const int below = std::min(y + 1, m_before.rows - 1), n = m_before.cols;
        multiply({m_before.ptr<ushort>(y), m_before.ptr<ushort>(below)},
                 {m_after.ptr<ushort>(y), m_after.ptr<ushort>(below)}, row(kBeforeX, y), row(kBeforeY, y),
                 row(kAfterX, y), row(kAfterY, y), n);
        for (int f = 0; f < kFields; ++f) repeatEnds(row(f, y), n, kRadius);
    }

    cv::Mat m_before, m_after;
    float m_e;
    cv::Mat m_rows, m_smooth;
    std::vector<double> m_scratch;
    int m_last = -1;  // row weighed
    int m_next = 0;   // row to be multiplied
};

}  // namespace

KeptGradient::KeptGradient(const cv::Mat& before, const cv::Mat& after, float epsilon) : m_rows(before.rows) {
    const int n = before.cols;
    const auto makeSmoothing = [&] { return Smoothing(before, after, epsilon * 65535.0f); };
    cv::Mat rough(m_rows, n + 2 * kRadius, CV_8UC1);
    forEachStrip(Strips(m_rows, workOf(n, 16)), makeSmoothing, [&](int first, int end, Smoothing& smoothing) noexcept {
        for (int y = first; y < end; ++y) {
            uchar* const weight = rough.ptr(y) + kRadius;
            smoothing.weigh(y, weight);
            repeatEnds(weight, n, kRadius);
        }
    });

    m_weight.create(m_rows, n + 2, CV_8UC1);
    using Scratch = std::vector<int>;
    const auto makeScratch = [] { return Scratch(gauss_rows::kScratch<Gauss>); };
    forEachStrip(Strips(m_rows, workOf(n, 4)), makeScratch, [&](int first, int end, Scratch& scratch) noexcept {
        for (int y = first; y < end; ++y) {
            const uchar* window[kWindow];
            for (int i = 0; i < kWindow; ++i) window[i] = rough.ptr(std::clamp(y + i - kRadius, 0, m_rows - 1));
            uchar* const weight = m_weight.ptr(y);
            gauss_rows::filterRow<Gauss>(window, weight, n, scratch.data());
            weight[n] = weight[n + 1] = weight[n - 1];
        }
    });
}

void KeptGradient::enlargedRow(int y, uchar* out, int n) const noexcept {
    const int k = std::min(y / 2, m_rows - 1);
    const int below = y % 2 == 0 ? k : std::min(k + 1, m_rows - 1);
    enlargeRow(m_weight.ptr(k), m_weight.ptr(below), out, (n + 1) / 2);
}

}  // namespace kestrova::image
