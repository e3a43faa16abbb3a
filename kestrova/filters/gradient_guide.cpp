#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "kestrova/filters/bilateral_filter.h"
#include "kestrova/filters/row_overlap.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/primitives/neighbourhood.h"

namespace {

/// A disc of 127 in a square of 2 radius + 1 cells; the central row and column are full.
std::vector<uchar> discMask(int radius) {
    const auto k = 2 * static_cast<std::size_t>(radius) + 1;
    std::vector<uchar> mask(k * k, 127);
    const auto cell = [&](int y, int x) -> uchar& {
        return mask[static_cast<std::size_t>(radius + y) * k + static_cast<std::size_t>(radius + x)];
    };
    for (int i = 1; i <= radius; ++i) {
        for (int j = 1; j <= radius; ++j) {
            const float square = static_cast<float>(std::int64_t{j} * j + std::int64_t{i} * i);
            if (std::sqrt(square) > static_cast<float>(radius) + 0.5f)
                cell(i, j) = cell(i, -j) = cell(-i, j) = cell(-i, -j) = 0;
        }
    }
    return mask;
}

constexpr auto dilate(uchar) { return ippiDilate_8u_C1R; }
constexpr auto dilate(ushort) { return ippiDilate_16u_C1R; }
constexpr auto erode(uchar) { return ippiErode_8u_C1R; }
constexpr auto erode(ushort) { return ippiErode_16u_C1R; }

template <class Pixel>
KESTROVA_KERNEL void moveRow(const Pixel* guide, const Pixel* highest, const Pixel* lowest, Pixel* inOut,
                             int n) noexcept {
    KESTROVA_INDEPENDENT
    for (int x = 0; x < n; ++x) {
        const Pixel s = inOut[x], g = guide[x];
        const bool bDown = highest[x] - s <= s - lowest[x];
        const Pixel low = bDown ? lowest[x] : s, high = bDown ? s : highest[x];
        inOut[x] = g > low && g < high ? g : s;
    }
}

template <class Pixel>
void moveToGuide(const cv::Mat& guide, cv::Mat& inOut, int radius) {
    const std::vector<uchar> mask = discMask(radius);
    const IppiSize region{inOut.cols - 2 * radius, inOut.rows - 2 * radius};
    const IppiSize maskSize{2 * radius + 1, 2 * radius + 1};
    const IppiPoint anchor{radius, radius};
    const int step = static_cast<int>(inOut.step[0]);
    cv::Mat hi = inOut.clone(), lo = inOut.clone();
    const Pixel* from = inOut.ptr<Pixel>(radius) + radius;
    dilate(Pixel{})(from, step, hi.ptr<Pixel>(radius) + radius, static_cast<int>(hi.step[0]), region, mask.data(),
                    maskSize, anchor);
    erode(Pixel{})(from, step, lo.ptr<Pixel>(radius) + radius, static_cast<int>(lo.step[0]), region, mask.data(),
                   maskSize, anchor);
    parallelRows(inOut.rows, inOut.cols, [&](int y) noexcept {
        moveRow(guide.ptr<Pixel>(y), hi.ptr<Pixel>(y), lo.ptr<Pixel>(y), inOut.ptr<Pixel>(y), inOut.cols);
    });
}

}  // namespace

bool BilateralFilter::gradientGuide(const cv::Mat& guide, cv::Mat& inOut, int radius) {
    if (radius < 1) return true;
    if (guide.type() != inOut.type() || (guide.type() != CV_8UC1 && guide.type() != CV_16UC1))
        fail("ERROR - BilateralFilter::gradientGuide - in image type");
    if (guide.size() != inOut.size()) fail("ERROR - BilateralFilter::gradientGuide - guide.size() != inOut.size()");
    // No pixel is as far as `radius` from the border: each is its own maximum and minimum.
    if (radius > (std::min(inOut.cols, inOut.rows) - 1) / 2) return true;

    const cv::Mat source = bRowsMixed(inOut, guide) ? guide.clone() : guide;
    if (inOut.depth() == CV_8U)
        moveToGuide<uchar>(source, inOut, radius);
    else
        moveToGuide<ushort>(source, inOut, radius);
    return true;
}
