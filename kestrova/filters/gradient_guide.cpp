#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include "kestrova/filters/bilateral_filter.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/primitives/neighbourhood.h"

using namespace kestrova::frame;

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
KESTROVA_KERNEL void moveRow(const Pixel* guide, const Pixel* highest, const Pixel* lowest, const Pixel* in, Pixel* out,
                             int n) noexcept {
    KESTROVA_INDEPENDENT
    for (int x = 0; x < n; ++x) {
        const Pixel s = in[x], g = guide[x];
        const bool down = highest[x] - s <= s - lowest[x];
        const Pixel low = down ? lowest[x] : s, high = down ? s : highest[x];
        out[x] = g > low && g < high ? g : s;
    }
}

/// Extremes are worked out for so many rows at a time.
constexpr int kBandRows = 64;

/// The local extremes of a band.
struct Extremes {
    cv::Mat hi, lo;
};

/// Pixels nearer than `radius` to the border are their own maximum and minimum, and stay.
template <class Pixel>
void moveToGuide(const cv::Mat& guide, cv::Mat& inOut, int radius) {
    const cv::Rect inner(radius, radius, inOut.cols - 2 * radius, inOut.rows - 2 * radius);
    const std::vector<uchar> mask = discMask(radius);
    const IppiSize maskSize{2 * radius + 1, 2 * radius + 1};
    const IppiPoint anchor{radius, radius};
    const cv::Mat in = inOut.clone();
    const int step = stepOf(in);

    const int bands = (inner.height - 1) / kBandRows + 1;
    const int workers = Strips(inner.height, workOf(inner.width, 8)).count() == 1 ? 1 : workerCount(bands);
    std::vector<Extremes> extremes(static_cast<std::size_t>(workers));
    for (Extremes& own : extremes) {
        own.hi.create(std::min(kBandRows, inner.height), inner.width, in.type());
        own.lo.create(own.hi.size(), in.type());
    }
    std::atomic<bool> noMemory{false};
    parallelTasks(workers, bands, [&](int band, int worker) noexcept {
        auto& [hi, lo] = extremes[static_cast<std::size_t>(worker)];
        const int first = inner.y + band * kBandRows, rows = std::min(kBandRows, inner.y + inner.height - first);
        const Pixel* from = in.ptr<Pixel>(first) + inner.x;
        const IppiSize size{inner.width, rows};
        const int extremesStep = stepOf(hi);
        if (dilate(Pixel{})(from, step, hi.ptr<Pixel>(0), extremesStep, size, mask.data(), maskSize, anchor) ||
            erode(Pixel{})(from, step, lo.ptr<Pixel>(0), extremesStep, size, mask.data(), maskSize, anchor)) {
            noMemory = true;
            return;
        }
        for (int r = 0; r < rows; ++r) {
            const int y = first + r;
            moveRow(guide.ptr<Pixel>(y) + inner.x, hi.ptr<Pixel>(r), lo.ptr<Pixel>(r), in.ptr<Pixel>(y) + inner.x,
                    inOut.ptr<Pixel>(y) + inner.x, inner.width);
        }
    });
    if (!noMemory) return;
    in.copyTo(inOut);  // some bands have been moved
    throw std::bad_alloc();
}

}  // namespace

bool BilateralFilter::gradientGuide(const cv::Mat& guide, cv::Mat& inOut, int radius) {
    if (radius < 1) return true;
    if (guide.type() != inOut.type() || (guide.type() != CV_8UC1 && guide.type() != CV_16UC1) || guide.dims > 2 ||
        inOut.dims > 2)
        fail("ERROR - BilateralFilter::gradientGuide - in image type");
    if (guide.size() != inOut.size()) fail("ERROR - BilateralFilter::gradientGuide - guide.size() != inOut.size()");
    checkPlanes(guide, inOut);
    // No pixel is as far as `radius` from the border: each is its own maximum and minimum.
    if (radius > (std::min(inOut.cols, inOut.rows) - 1) / 2) return true;

    orFailWithoutMemory("ERROR - BilateralFilter::gradientGuide - not enough memory", [&] {
        const cv::Mat source = sourceBeside(inOut, guide, StillRead::kThatRow);
        if (inOut.depth() == CV_8U)
            moveToGuide<uchar>(source, inOut, radius);
        else
            moveToGuide<ushort>(source, inOut, radius);
    });
    return true;
}
