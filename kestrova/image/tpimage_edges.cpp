#include <cmath>
#include <vector>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/zero16.h"
#include "kestrova/image/kept_gradient.h"
#include "kestrova/image/tpimage.h"
#include "kestrova/primitives/tables.h"
#include "kestrova/resample/resample.h"
#include "kestrova/rows/lookup_row.h"
#include "kestrova/rows/pyramid_rows.h"

using namespace kestrova::frame;
using namespace kestrova::image;
using namespace kestrova::rows;

namespace {

constexpr int kZeroEdge = 128;
constexpr float kToEdge = 0x1.6a0902p-1f;  // 0.7071
constexpr float kToFull = 0x1.6a0acap+0f;  // 1.4142271

// Half the difference, towards zero, about 32768. In place.
KESTROVA_KERNEL void residualRow(const ushort* full, ushort* up, int n) noexcept {
    for (int x = 0; x < n; ++x) up[x] = static_cast<ushort>((full[x] - up[x]) / 2 + kZero16);
}

KESTROVA_KERNEL void addRow(const ushort* __restrict residual, ushort* __restrict full, int n) noexcept {
    for (int x = 0; x < n; ++x) full[x] = clamp16(full[x] - kZero16 + residual[x]);
}

KESTROVA_KERNEL void addRow(const float* __restrict residual, ushort* __restrict full, int n) noexcept {
    for (int x = 0; x < n; ++x) full[x] = sat16(residual[x] + static_cast<float>(full[x]));
}

KESTROVA_KERNEL void addWeightedRow(const float* __restrict residual, const uchar* __restrict weight, float k,
                                    ushort* __restrict full, int n) noexcept {
    for (int x = 0; x < n; ++x)
        full[x] = sat16(residual[x] * static_cast<float>(weight[x]) * k + static_cast<float>(full[x]));
}

void checkLuminance(const cv::Mat& plane, const char* text) {
    if (plane.type() != CV_16UC1) fail(text);
}

// For each row `y` of `half` enlarged to `full`: `target(y, scratch)` is where it goes, and `work(y, row, scratch)`
// works on it there. A thread's scratch is a `Scratch` made of the number of columns.
template <class Scratch, class Target, class Work>
void enlarge(const cv::Mat& half, cv::Size full, const Target& target, const Work& work) {
    struct Own {
        PyramidRows rows;
        Scratch scratch;
    };
    const PyramidRows rows(half, full);
    const auto makeOwn = [&] { return Own{rows, Scratch(full.width)}; };
    forEachStrip(Strips(full.height, workOf(full.width, 2)), makeOwn, [&](int first, int end, Own& own) noexcept {
        for (int y = first; y < end; ++y) {
            ushort* const row = target(y, own.scratch);
            own.rows.compute(y, row);
            work(y, row, own.scratch);
        }
    });
}

// The same into the rows of `full`.
template <class Scratch, class Work>
void enlargeInto(const cv::Mat& half, cv::Mat& full, const Work& work) {
    PyramidRows::check(half, full);
    const auto target = [&](int y, Scratch&) noexcept { return full.ptr<ushort>(y); };
    enlarge<Scratch>(half, full.size(), target, work);
}

struct WeightedResidual {
    std::vector<float> residual;
    std::vector<uchar> weight;
    explicit WeightedResidual(int n) : residual(n), weight(n + 1) {}
};

}  // namespace

void TPImage::provideEdgeTables() {
    static const bool provided = [] {
        static uchar fullToEdgeTable[65536];
        static ushort edgeToFullTable[256];
        m_lutFullToEdge_p = fullToEdgeTable;
        m_lutEdgeToFull_p = edgeToFullTable;
        computeLUT();
        return true;
    }();
    static_cast<void>(provided);
}

void TPImage::computeLUT() {
    if (!m_lutFullToEdge_p || !m_lutEdgeToFull_p) fail("ERROR - TPImage::computeLUT: LUT is not allocated.");
    for (int i = 0; i < 65536; ++i) {
        const float root = std::sqrt(static_cast<float>(std::abs(i - kZero16))) * kToEdge;
        m_lutFullToEdge_p[i] = sat8(i < kZero16 ? 128.0f - root : root + 128.0f);
    }
    // It ends at 65026: the tables are not exact inverses of each other, which is intentional.
    for (int i = 0; i < 256; ++i) {
        const float s = static_cast<float>(std::abs(i - kZeroEdge)) * kToFull;
        m_lutEdgeToFull_p[i] = static_cast<ushort>(i < kZeroEdge ? kZero16 - s * s : s * s + kZero16);
    }
}

void TPImage::applyFullToEdgeLUT(const cv::Mat& in, cv::Mat& out) {
    if (!m_lutFullToEdge_p) fail("ERROR - TPImage::applyFullToEdgeLUT: LUT is NULL.");
    checkLuminance(in, "ERROR - TPImage::applyFullToEdgeLUT - in.type()!=CV_16UC1");
    const int step = stepOf(in);
    orFailWithoutMemory("ERROR - TPImage::applyFullToEdgeLUT - not enough memory", [&] {
        cv::Mat edges = outputLike(out, in.size(), CV_8UC1);
        ippiLUTPalette_16u8u_C1R(in.ptr<ushort>(), step, edges.ptr(), stepOf(edges), {in.cols, in.rows},
                                 m_lutFullToEdge_p, 16);
        out = edges;
    });
}

void TPImage::fullToEdge(const cv::Mat& full, const cv::Mat& half, cv::Mat& edge) {
    if (!m_lutFullToEdge_p) fail("ERROR - TPImage::fullToEdge - m_lutFullToEdge_p==NULL");
    checkPlanes(full, half);
    checkLuminance(full, "ERROR - TPImage::fullToEdge - full.type()!=CV_16UC1");
    orFailWithoutMemory("ERROR - TPImage::fullToEdge - not enough memory", [&] {
        cv::Mat small = half;
        if (small.empty()) {
            // One row and column more than `half()` has for even sizes, which a step upwards does not take.
            small = cv::Mat(full.rows / 2 + 1, full.cols / 2 + 1, CV_16UC1);
            downSize2X(full, small, kPyramidStep);
        }
        PyramidRows::check(small, full);
        cv::Mat edges = outputLike(edge, full.size(), CV_8UC1);
        using Levels = std::vector<ushort>;
        const auto target = [](int, Levels& up) noexcept { return up.data(); };
        enlarge<Levels>(small, full.size(), target, [&](int y, ushort* up, Levels&) noexcept {
            residualRow(full.ptr<ushort>(y), up, full.cols);
            lookUpRow(up, edges.ptr(y), full.cols, m_lutFullToEdge_p);
        });
        edge = edges;
    });
}

void TPImage::edgeToFull(const cv::Mat& edge, const cv::Mat& half, cv::Mat& full, float gain) {
    if (!m_lutEdgeToFull_p) fail("ERROR - TPImage::edgeToFull - m_lutEdgeToFull_p==NULL");
    checkPlanes(edge, half);
    if (edge.type() != CV_8UC1) fail("ERROR - TPImage::edgeToFull - edge.type()!=CV_8UC1");
    const int n = edge.cols;
    orFailWithoutMemory("ERROR - TPImage::edgeToFull - not enough memory", [&] {
        cv::Mat out = outputLike(full, edge.size(), CV_16UC1);
        if (std::abs(gain - 1.0f) <= 0.01f) {
            using Levels = std::vector<ushort>;
            enlargeInto<Levels>(half, out, [&](int y, ushort* row, Levels& levels) noexcept {
                lookUpRow(edge.ptr(y), levels.data(), n, m_lutEdgeToFull_p);
                addRow(levels.data(), row, n);
            });
        } else {
            float table[256];
            for (int i = 0; i < 256; ++i) table[i] = (static_cast<float>(m_lutEdgeToFull_p[i]) - kZero16) * gain;
            using Residuals = std::vector<float>;
            enlargeInto<Residuals>(half, out, [&](int y, ushort* row, Residuals& residuals) noexcept {
                lookUpRow(edge.ptr(y), residuals.data(), n, table);
                addRow(residuals.data(), row, n);
            });
        }
        full = out;
    });
}

void TPImage::edgeToFull(const cv::Mat& edge, const cv::Mat& halfOld, const cv::Mat& halfNew, cv::Mat& full,
                         float epsilon, float gain) {
    if (!m_lutEdgeToFull_p) fail("ERROR - TPImage::edgeToFull - m_lutEdgeToFull_p==NULL");
    checkPlanes(edge, halfOld, halfNew);
    if (edge.type() != CV_8UC1) fail("ERROR - TPImage::edgeToFull - edge.type()!=CV_8UC1");
    checkLuminance(halfOld, "ERROR - TPImage::edgeToFull - halfOld.type()!=CV_16UC1");
    checkLuminance(halfNew, "ERROR - TPImage::edgeToFull - halfNew.type()!=CV_16UC1");
    if (halfOld.size() != halfNew.size()) fail("ERROR - TPImage::edgeToFull - halfOld.size()!=halfNew.size()");
    const float k = gain * 6.0f * 0.00390625f;
    const int n = edge.cols;
    float table[256];
    for (int i = 0; i < 256; ++i) table[i] = static_cast<float>(m_lutEdgeToFull_p[i]) - kZero16;
    orFailWithoutMemory("ERROR - TPImage::edgeToFull - not enough memory", [&] {
        cv::Mat out = outputLike(full, edge.size(), CV_16UC1);
        PyramidRows::check(halfNew, out);
        const KeptGradient kept(halfOld, halfNew, epsilon);
        enlargeInto<WeightedResidual>(halfNew, out, [&](int y, ushort* row, WeightedResidual& scratch) noexcept {
            lookUpRow(edge.ptr(y), scratch.residual.data(), n, table);
            kept.enlargedRow(y, scratch.weight.data(), n);
            addWeightedRow(scratch.residual.data(), scratch.weight.data(), k, row, n);
        });
        full = out;
    });
}
