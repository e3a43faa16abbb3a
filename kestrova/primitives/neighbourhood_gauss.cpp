#include <type_traits>

#include "kestrova/frame/kernel.h"
#include "kestrova/primitives/neighbourhood.h"
#include "kestrova/primitives/window.h"

namespace {

/// One quadrant of each kernel, by the distances from the centre.
struct Gauss3x3 {
    static constexpr int kRadius = 1, kTotal = 16;
    static constexpr int kWeights[2][2] = {{4, 2}, {2, 1}};
};
struct Gauss5x5 {
    static constexpr int kRadius = 2, kTotal = 571;
    static constexpr int kWeights[3][3] = {{127, 52, 12}, {52, 31, 7}, {12, 7, 2}};
};

template <int kTotal>
uchar mean(int sum) {
    return static_cast<uchar>(static_cast<unsigned>(sum + kTotal / 2) / kTotal);
}
template <int kTotal>
float mean(double sum) {
    return static_cast<float>(sum * (1.0 / kTotal));
}

/// sums[d * n + x]: column x of the window, weighted as one that lies `d` columns from the centre.
template <class Gauss, class Element, class Sum>
KESTROVA_KERNEL void weighColumns(const Element* const* windowRows, Sum* __restrict sums, int n) noexcept {
    constexpr int kRadius = Gauss::kRadius;
    const Element* rows[2 * kRadius + 1];
    for (int i = 0; i <= 2 * kRadius; ++i) rows[i] = windowRows[i];
    for (int x = 0; x < n; ++x) {
        for (int d = 0; d <= kRadius; ++d) {
            Sum sum = 0;
            for (int i = kRadius; i > 0; --i)
                sum += Gauss::kWeights[d][i] *
                       (static_cast<Sum>(rows[kRadius - i][x]) + static_cast<Sum>(rows[kRadius + i][x]));
            sums[d * n + x] = sum + Gauss::kWeights[d][0] * static_cast<Sum>(rows[kRadius][x]);
        }
    }
}

template <class Gauss, class Element, class Sum>
KESTROVA_KERNEL void joinColumns(const Sum* __restrict sums, int columns, Element* __restrict dst, int n) noexcept {
    constexpr int kRadius = Gauss::kRadius;
    for (int x = 0; x < n; ++x) {
        const Sum* centre = sums + x + kRadius;
        Sum sum = 0;
        for (int d = kRadius; d > 0; --d) sum += centre[d * columns - d] + centre[d * columns + d];
        dst[x] = mean<Gauss::kTotal>(sum + centre[0]);
    }
}

template <class Gauss, class Element>
IppStatus filter(Plane<const Element> src, Plane<Element> dst, IppiSize size) {
    using Sum = std::conditional_t<std::is_floating_point_v<Element>, double, int>;
    constexpr int kRadius = Gauss::kRadius;
    const int strips = stripCount(size.height, size.width);
    const auto scratch = allocateScratch<Sum>(static_cast<std::size_t>(kRadius + 1) * strips, kTile + 2 * kRadius);
    if (!scratch) return ippStsNoMemErr;
    parallelStrips(strips, size.height, [&](int first, int end, int s) noexcept {
        Sum* sums = scratch.get() + static_cast<std::ptrdiff_t>(kRadius + 1) * s * (kTile + 2 * kRadius);
        for (int y = first; y < end; ++y) {
            for (int x = 0; x < size.width; x += kTile) {
                const Element* rows[2 * kRadius + 1];
                for (int i = 0; i <= 2 * kRadius; ++i) rows[i] = src.row(y - kRadius + i) + x - kRadius;
                const int n = std::min(kTile, size.width - x);
                weighColumns<Gauss>(rows, sums, n + 2 * kRadius);
                joinColumns<Gauss>(sums, n + 2 * kRadius, dst.row(y) + x, n);
            }
        }
    });
    return ippStsNoErr;
}

template <class Element>
IppStatus filterGauss(Plane<const Element> src, Plane<Element> dst, IppiSize size, IppiMaskSize mask) {
    if (const IppStatus status = checkRegion(size, 1, src, dst)) return status;
    switch (mask) {
        case ippMskSize3x3: return filter<Gauss3x3>(src, dst, size);
        case ippMskSize5x5: return filter<Gauss5x5>(src, dst, size);
    }
    return ippStsMaskSizeErr;
}

}  // namespace

IppStatus ippiFilterGauss_8u_C1R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize dstSize,
                                 IppiMaskSize mask) {
    return filterGauss<uchar>({src, srcStep}, {dst, dstStep}, dstSize, mask);
}
IppStatus ippiFilterGauss_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize dstSize,
                                  IppiMaskSize mask) {
    return filterGauss<float>({src, srcStep}, {dst, dstStep}, dstSize, mask);
}
