#include <cmath>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"
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

constexpr int kZero = 32768;  // of residuals
constexpr int kZeroEdge = 128;
constexpr float kToEdge = 0x1.6a0902p-1f;  // 0.7071
constexpr float kToFull = 0x1.6a0acap+0f;  // 1.4142271

// Half the difference, towards zero, about 32768. In place.
KESTROVA_KERNEL void residualRow(const ushort* full, ushort* up, int n) noexcept {
    for (int x = 0; x < n; ++x) up[x] = static_cast<ushort>((full[x] - up[x]) / 2 + kZero);
}

KESTROVA_KERNEL void addRow(const ushort* __restrict residual, ushort* __restrict full, int n) noexcept {
    for (int x = 0; x < n; ++x) full[x] = clamp16(full[x] - kZero + residual[x]);
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

// full = the enlarged `half`, row by row, and on each one `work(y, row, scratch)`, a `Scratch` being made of the number
// of columns.
template <class Scratch, class Work>
void enlarge(const cv::Mat& half, cv::Mat& full, const Work& work) {
    PyramidRows::check(half, full);
    const int strips = stripCount(full.rows, full.cols);
    std::vector<PyramidRows> rows = PyramidRows::forStrips(strips, half, full.size());
    std::vector<Scratch> scratch(strips, Scratch(full.cols));
    parallelStrips(strips, full.rows, [&](int first, int end, int strip) noexcept {
        for (int y = first; y < end; ++y) {
            ushort* const row = full.ptr<ushort>(y);
            rows[strip].compute(y, row);
            work(y, row, scratch[strip]);
        }
    });
}

struct WeightedResidual {
    std::vector<float> residual;
    std::vector<uchar> weight;
    explicit WeightedResidual(int n) : residual(n), weight(n + 1) {}
};

}  // namespace

void TPImage::provideEdgeTables() {
    static const bool bProvided = [] {
        static uchar fullToEdgeTable[65536];
        static ushort edgeToFullTable[256];
        m_lutFullToEdge_p = fullToEdgeTable;
        m_lutEdgeToFull_p = edgeToFullTable;
        computeLUT();
        return true;
    }();
    static_cast<void>(bProvided);
}

void TPImage::computeLUT() {
    if (!m_lutFullToEdge_p || !m_lutEdgeToFull_p) fail("ERROR - TPImage::computeLUT: LUT is not allocated.");
    for (int i = 0; i < 65536; ++i) {
        const float root = std::sqrt(static_cast<float>(std::abs(i - kZero))) * kToEdge;
        m_lutFullToEdge_p[i] = sat8(i < kZero ? 128.0f - root : root + 128.0f);
    }
    // It ends at 65026: the tables are not exact inverses of each other, and that is meant.
    for (int i = 0; i < 256; ++i) {
        const float s = static_cast<float>(std::abs(i - kZeroEdge)) * kToFull;
        m_lutEdgeToFull_p[i] = static_cast<ushort>(i < kZeroEdge ? 32768.0f - s * s : s * s + 32768.0f);
    }
}

void TPImage::applyFullToEdgeLUT(const cv::Mat& in, cv::Mat& out) {
    if (!m_lutFullToEdge_p) fail("ERROR - TPImage::applyFullToEdgeLUT: LUT is NULL.");
    checkLuminance(in, "ERROR - TPImage::applyFullToEdgeLUT - in.type()!=CV_16UC1");
    const cv::Mat from = in;
    out.create(from.size(), CV_8UC1);
    ippiLUTPalette_16u8u_C1R(from.ptr<ushort>(), static_cast<int>(from.step), out.ptr(), static_cast<int>(out.step),
                             {from.cols, from.rows}, m_lutFullToEdge_p, 16);
}

void TPImage::fullToEdge(const cv::Mat& full, const cv::Mat& half, cv::Mat& edge) {
    if (!m_lutFullToEdge_p) fail("ERROR - TPImage::fullToEdge - m_lutFullToEdge_p==NULL");
    checkLuminance(full, "ERROR - TPImage::fullToEdge - full.type()!=CV_16UC1");
    const cv::Mat from = full;
    cv::Mat small = half;
    if (small.empty()) {
        // One row and column more than `half()` has for even sizes, which a step upwards does not take.
        small.create(from.rows / 2 + 1, from.cols / 2 + 1, CV_16UC1);
        downSize2X(from, small, kPyramidStep);
    }
    PyramidRows::check(small, from);
    const int strips = stripCount(from.rows, from.cols);
    std::vector<PyramidRows> rows = PyramidRows::forStrips(strips, small, from.size());
    cv::Mat scratch(strips, from.cols, CV_16UC1);
    edge.create(from.size(), CV_8UC1);
    const uchar* const table = m_lutFullToEdge_p;
    parallelStrips(strips, from.rows, [&](int first, int end, int strip) noexcept {
        ushort* const up = scratch.ptr<ushort>(strip);
        for (int y = first; y < end; ++y) {
            rows[strip].compute(y, up);
            residualRow(from.ptr<ushort>(y), up, from.cols);
            lookUpRow(up, edge.ptr(y), from.cols, table);
        }
    });
}

void TPImage::edgeToFull(const cv::Mat& edge, const cv::Mat& half, cv::Mat& full, float gain) {
    if (!m_lutEdgeToFull_p) fail("ERROR - TPImage::edgeToFull - m_lutEdgeToFull_p==NULL");
    if (edge.type() != CV_8UC1) fail("ERROR - TPImage::edgeToFull - edge.type()!=CV_8UC1");
    const cv::Mat edges = edge, from = half;
    full.create(edges.size(), CV_16UC1);
    const int n = edges.cols;
    if (std::abs(gain - 1.0f) <= 0.01f) {
        const ushort* const table = m_lutEdgeToFull_p;
        using Levels = std::vector<ushort>;
        enlarge<Levels>(from, full, [&](int y, ushort* row, Levels& levels) noexcept {
            lookUpRow(edges.ptr(y), levels.data(), n, table);
            addRow(levels.data(), row, n);
        });
        return;
    }
    float table[256];
    for (int i = 0; i < 256; ++i) table[i] = (static_cast<float>(m_lutEdgeToFull_p[i]) - 32768.0f) * gain;
    using Residuals = std::vector<float>;
    enlarge<Residuals>(from, full, [&](int y, ushort* row, Residuals& residuals) noexcept {
        lookUpRow(edges.ptr(y), residuals.data(), n, table);
        addRow(residuals.data(), row, n);
    });
}

void TPImage::edgeToFull(const cv::Mat& edge, const cv::Mat& halfOld, const cv::Mat& halfNew, cv::Mat& full,
                         float epsilon, float gain) {
    if (!m_lutEdgeToFull_p) fail("ERROR - TPImage::edgeToFull - m_lutEdgeToFull_p==NULL");
    if (edge.type() != CV_8UC1) fail("ERROR - TPImage::edgeToFull - edge.type()!=CV_8UC1");
    checkLuminance(halfOld, "ERROR - TPImage::edgeToFull - halfOld.type()!=CV_16UC1");
    checkLuminance(halfNew, "ERROR - TPImage::edgeToFull - halfNew.type()!=CV_16UC1");
    if (halfOld.size() != halfNew.size()) fail("ERROR - TPImage::edgeToFull - halfOld.size()!=halfNew.size()");
    const cv::Mat edges = edge, before = halfOld, after = halfNew;
    full.create(edges.size(), CV_16UC1);
    PyramidRows::check(after, full);
    const KeptGradient kept(before, after, epsilon);
    const float k = gain * 6.0f * 0.00390625f;
    const int n = edges.cols;
    float table[256];
    for (int i = 0; i < 256; ++i) table[i] = static_cast<float>(m_lutEdgeToFull_p[i]) - 32768.0f;
    enlarge<WeightedResidual>(after, full, [&](int y, ushort* row, WeightedResidual& scratch) noexcept {
        lookUpRow(edges.ptr(y), scratch.residual.data(), n, table);
        kept.enlargedRow(y, scratch.weight.data(), n);
        addWeightedRow(scratch.residual.data(), scratch.weight.data(), k, row, n);
    });
}
