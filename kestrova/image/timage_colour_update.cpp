#include <algorithm>
#include <cstddef>
#include <vector>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/unit_scale.h"
#include "kestrova/image/timage.h"
#include "kestrova/image/timage_planes.h"
#include "kestrova/image/ycm.h"
#include "kestrova/image/ydrdb.h"

using namespace kestrova::frame;
using namespace kestrova::image;
using namespace kestrova::image::ydrdb;
using namespace kestrova::rows;

// The halved luminance, and the colour that follows a change of it.

namespace {

// The mean of 2 by 2 words takes two bits, the step to bytes eight more.
constexpr int kMeanToByte = 10;

KESTROVA_KERNEL void halfRow(const ushort* upper, const ushort* lower, uchar* __restrict half, int n) noexcept {
    for (std::ptrdiff_t j = 0; j < n; ++j) {
        const int sum = upper[2 * j] + upper[2 * j + 1] + lower[2 * j] + lower[2 * j + 1];
        half[j] = static_cast<uchar>(sum >> kMeanToByte);
    }
}

// The columns and rows that an odd size adds repeat the last ones.
void halfRowToTheEnd(Plane<const ushort> y, const TSize& size, int i, uchar* half, int n) noexcept {
    const ushort* upper = y.row(2 * i);
    const ushort* lower = y.row(std::min(2 * i + 1, size.height - 1));
    const int blocks = std::min(n, size.width / 2);
    halfRow(upper, lower, half, blocks);
    if (blocks < n) half[blocks] = static_cast<uchar>((upper[2 * blocks] + lower[2 * blocks]) * 2 >> kMeanToByte);
}

// The colour (c0, c1) under the half luminances `before` and `after`.
KESTROVA_KERNEL void updateRow(const uchar* __restrict before, const uchar* __restrict after, const uchar* c0,
                               const uchar* c1, float k, uchar* out0, uchar* out1, int n) noexcept {
    KESTROVA_INDEPENDENT
    for (int j = 0; j < n; ++j) {
        const float a = before[j], e = after[j];
        float r, g, b;
        ycm::toRGB(a * kPer255, c0[j], c1[j], r, g, b);
        const float ratio = (k + e) / (a + k);
        const float r2 = ratio * r, b2 = ratio * b, g2 = ratio * g;
        const float y2 = g2 * kGreen + r2 * kRed + b2 * kBlue;
        out0[j] = ycm::toDifference(r2, y2);
        out1[j] = ycm::toDifference(b2, y2);
    }
}

bool smaller(const TSize& size, const TSize& than) { return size.width < than.width || size.height < than.height; }

}  // namespace

cv::Mat TImage::halfY8U() const {
    if (m_type != IM_Y16U) throw 0;
    const TSize size = dec2Size(m_size);
    cv::Mat half = orFailWithoutMemory("ERROR - TImage::halfY8U - not enough memory",
                                       [&] { return cv::Mat(size.height, size.width, CV_8UC1); });
    if (half.empty()) return half;
    const Plane<const ushort> y = planeOf<ushort>(*this);
    const int blocks = m_size.width / 2;
    parallelRows(m_size.height / 2, m_size.width,
                 [&](int i) noexcept { halfRow(y.row(2 * i), y.row(2 * i + 1), half.ptr(i), blocks); });
    return half;
}

void TImage::updateCfromYChange(const TImage& yOld, const TImage& cOld, const TImage& yNew, TImage& cNew, float k) {
    if (yOld.m_type != IM_Y16U || yNew.m_type != IM_Y16U) throw 0;
    const TSize half = dec2Size(yOld.m_size);
    if (half.isEmpty()) return;
    if (cOld.m_type != IM_C8U || cNew.m_type != IM_C8U)
        fail("ERROR - TImage::updateCfromYChange - cOld.type()!=IM_C8U || cNew.type()!=IM_C8U");
    if (smaller(cOld.m_size, half) || smaller(dec2Size(yNew.m_size), half) || smaller(cNew.m_size, half))
        fail("ERROR - TImage::updateCfromYChange - cOld, yNew or cNew is smaller than yOld needs");

    const auto before = planeOf<ushort>(yOld), after = planeOf<ushort>(yNew);
    const auto c0 = planeOf<uchar>(cOld, 0), c1 = planeOf<uchar>(cOld, 1);
    const auto out0 = planeOf<uchar>(cNew, 0), out1 = planeOf<uchar>(cNew, 1);
    const float k255 = k * 255.0f;
    using Halves = std::vector<uchar>;  // of a row of `yOld`, then of `yNew`
    const std::size_t width = static_cast<std::size_t>(half.width);
    const auto makeHalves = [=] { return Halves(2 * width); };
    const auto updateRows = [&](int first, int end, Halves& halves) noexcept {
        uchar* const a = halves.data();
        uchar* const e = a + width;
        for (int i = first; i < end; ++i) {
            halfRowToTheEnd(before, yOld.m_size, i, a, half.width);
            halfRowToTheEnd(after, yNew.m_size, i, e, half.width);
            updateRow(a, e, c0.row(i), c1.row(i), k255, out0.row(i), out1.row(i), half.width);
        }
    };
    orFailWithoutMemory("ERROR - TImage::updateCfromYChange - not enough memory",
                        [&] { forEachStrip(Strips(half.height, workOf(half.width, 8)), makeHalves, updateRows); });
}
