#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "kestrova/filters/tguidedfilter.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/frame/saturate.h"

using namespace kestrova::frame;

namespace {

/// What b counts in levels: it is in units of full scale.
template <class Pixel>
constexpr float kFullScale = static_cast<float>(std::numeric_limits<Pixel>::max());

template <class Pixel>
KESTROVA_KERNEL void applyRow(const std::array<const Pixel*, 1>& guide, const std::array<const float*, 2>& model,
                              Pixel* q, int n) noexcept {
    const Pixel* I = guide[0];
    const float *a = model[0], *b = model[1];
    KESTROVA_INDEPENDENT
    for (int x = 0; x < n; ++x) q[x] = sat<Pixel>(static_cast<float>(I[x]) * a[x] + b[x] * kFullScale<Pixel>);
}

template <class Pixel>
KESTROVA_KERNEL void applyRow(const std::array<const Pixel*, 3>& guide, const std::array<const float*, 4>& model,
                              Pixel* q, int n) noexcept {
    const Pixel *I0 = guide[0], *I1 = guide[1], *I2 = guide[2];
    const float *a0 = model[0], *a1 = model[1], *a2 = model[2], *b = model[3];
    KESTROVA_INDEPENDENT
    for (int x = 0; x < n; ++x) {
        const float slopes =
            (static_cast<float>(I0[x]) * a0[x] + static_cast<float>(I1[x]) * a1[x]) + static_cast<float>(I2[x]) * a2[x];
        q[x] = sat<Pixel>(slopes + b[x] * kFullScale<Pixel>);
    }
}

/// How many pixels a cell of the model serves along one direction. In single precision: for more than 2^24 pixels it
/// may come out one too small, and the last cell then serves all that is left.
int blockSize(int pixels, int cells) {
    constexpr float kMost = 0x1.fffffep30f;  // INT_MAX as a float would be more than an int holds
    return static_cast<int>(std::min(std::ceil(static_cast<float>(pixels) / static_cast<float>(cells)), kMost));
}

template <int kBlock>
KESTROVA_KERNEL void repeatCells(const float* __restrict cells, int count, float* __restrict out) noexcept {
    for (int cell = 0; cell < count; ++cell)
        for (int i = 0; i < kBlock; ++i) out[kBlock * cell + i] = cells[cell];
}

/// out[x] = cells[min(x / block, count - 1)]
void spreadRow(const float* cells, int count, int block, float* out, int n) noexcept {
    const int whole = std::min(count, n / block);
    switch (block) {
        case 2: repeatCells<2>(cells, whole, out); break;
        case 3: repeatCells<3>(cells, whole, out); break;
        case 4: repeatCells<4>(cells, whole, out); break;
        default:
            for (int cell = 0; cell < whole; ++cell) std::fill_n(out + cell * block, block, cells[cell]);
    }
    const int done = whole * block;
    std::fill(out + done, out + n, cells[std::min(whole, count - 1)]);
}

/// The coefficients of a row of pixels, one a pixel.
template <std::size_t kCoefficients>
class SpreadRows {
public:
    SpreadRows(const std::array<cv::Mat, kCoefficients>& model, cv::Size pixels)
        : m_model(model),
          m_cols(pixels.width),
          m_blockWidth(blockSize(pixels.width, model[0].cols)),
          m_blockHeight(blockSize(pixels.height, model[0].rows)),
          m_asTheyStand(m_blockWidth == 1 && pixels.width <= model[0].cols),
          m_spread(m_asTheyStand ? 0 : kCoefficients * static_cast<std::size_t>(pixels.width)) {}

    const std::array<const float*, kCoefficients>& row(int y) noexcept {
        const int cell = std::min(y / m_blockHeight, m_model[0].rows - 1);
        if (cell == m_current) return m_rows;
        m_current = cell;
        for (std::size_t k = 0; k < kCoefficients; ++k) {
            m_rows[k] = m_model[k].template ptr<float>(cell);
            if (m_asTheyStand) continue;
            float* spread = m_spread.data() + k * static_cast<std::size_t>(m_cols);
            spreadRow(m_rows[k], m_model[k].cols, m_blockWidth, spread, m_cols);
            m_rows[k] = spread;
        }
        return m_rows;
    }

private:
    const std::array<cv::Mat, kCoefficients>& m_model;
    int m_cols, m_blockWidth, m_blockHeight;
    bool m_asTheyStand;           ///< each pixel has a column of the model
    std::vector<float> m_spread;  ///< a row of each coefficient
    std::array<const float*, kCoefficients> m_rows{};
    int m_current = -1;  ///< the row of the model that is spread
};

template <class Pixel, std::size_t kGuides>
void applyBlocks(const std::array<cv::Mat, kGuides>& guide, const std::array<cv::Mat, kGuides + 1>& model, cv::Mat& q) {
    using Coefficients = SpreadRows<kGuides + 1>;
    const auto makeCoefficients = [&] { return Coefficients(model, q.size()); };
    const auto applyRows = [&](int first, int end, Coefficients& coefficients) noexcept {
        std::array<const Pixel*, kGuides> pixels;
        for (int y = first; y < end; ++y) {
            for (std::size_t k = 0; k < kGuides; ++k) pixels[k] = guide[k].template ptr<Pixel>(y);
            applyRow<Pixel>(pixels, coefficients.row(y), q.ptr<Pixel>(y), q.cols);
        }
    };
    forEachStrip(Strips(q.rows, q.cols), makeCoefficients, applyRows);
}

bool isInteger(const cv::Mat& guide) { return guide.depth() == CV_8U || guide.depth() == CV_16U; }

template <std::size_t kGuides>
void checkApply(const std::array<cv::Mat, kGuides>& guide, const std::array<cv::Mat, kGuides + 1>& model) {
    if (guide[0].empty()) fail("ERROR - TGuidedFilter::proc - guide[0].empty()");
    if (guide[0].channels() != 1) fail("ERROR - TGuidedFilter::proc - guide[0].channels()!=1");
    for (const cv::Mat& plane : guide) {
        if (plane.type() != guide[0].type()) fail("ERROR - TGuidedFilter::proc - guide types differ");
        if (plane.size() != guide[0].size()) fail("ERROR - TGuidedFilter::proc - guide sizes differ");
    }
    for (const cv::Mat& plane : model)
        if (plane.empty() || plane.size() != model[0].size())
            fail("ERROR - TGuidedFilter::proc - there is no model of a guide like this");
}

template <std::size_t kGuides>
void applyInteger(const std::array<cv::Mat, kGuides>& guide, const std::array<cv::Mat, kGuides + 1>& model,
                  cv::Mat& q) {
    const bool apart =
        std::any_of(guide.begin(), guide.end(), [&](const cv::Mat& I) { return overlapAcrossRows(I, q); });
    cv::Mat result = apart ? cv::Mat(q.size(), q.type()) : q;
    q.depth() == CV_8U ? applyBlocks<uchar>(guide, model, result) : applyBlocks<ushort>(guide, model, result);
    result.copyTo(q);
}

template <std::size_t kGuides>
void applyLoop(const std::array<cv::Mat, kGuides>& guide, const std::array<cv::Mat, kGuides + 1>& model, cv::Mat& q) {
    for (const cv::Mat& plane : guide) checkPlane(plane);
    const bool integer = isInteger(guide[0]);
    if (integer) checkApply(guide, model);
    orFailWithoutMemory("ERROR - TGuidedFilter::proc - not enough memory", [&] {
        cv::Mat result = outputLike(q, guide[0].size(), guide[0].type());
        if (integer)
            applyInteger(guide, model, result);
        else
            sourceBeside(result, guide[0], StillRead::kThatPixel).copyTo(result);  // a plain copy is intentional
        q = result;
    });
}

}  // namespace

void TGuidedFilter::gFc1_applyLoop(const cv::Mat& I, cv::Mat& q) const { applyLoop<1>({I}, {m_a0, m_b}, q); }

void TGuidedFilter::gFc3_applyLoop(const std::vector<cv::Mat>& guide, cv::Mat& q) const {
    if (guide.size() != 3) fail("ERROR - TGuidedFilter::proc - input vector size is not correct.");
    applyLoop<3>({guide[0], guide[1], guide[2]}, {m_a0, m_a1, m_a2, m_b}, q);
}
