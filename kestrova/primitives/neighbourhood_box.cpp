#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "kestrova/frame/kernel.h"
#include "kestrova/primitives/neighbourhood.h"
#include "kestrova/rows/box_means.h"
#include "kestrova/rows/box_mirrored.h"
#include "kestrova/rows/window.h"

using namespace kestrova::frame;
using namespace kestrova::rows;

/// A row of column sums slides down the plane: the row that enters the window is added, the one that leaves it taken
/// away. Sums of `width` neighbours among them come from sums of half as many, so that their cost and their rounding
/// grow with the logarithm of the width alone: 0.08 ns a pixel for each binary digit, all in vectors, where a running
/// sum, being serial, takes 0.55 ns at any width.
///
/// Integers are summed exactly: neither order nor split matters. Floats are summed in double. Their column sums begin
/// anew, from the top of the window down, at every `boxBlockRows`-th row of the region and after a value that is not
/// finite has left the window, so that the order does not depend on the split either. An error of rounding is at most
/// 2^-53 of a column's sum of sizes, and a column collects fewer than 4 `boxBlockRows` of them before it begins anew.

namespace {

template <class Sum, class Element>
KESTROVA_KERNEL void addRow(Sum* __restrict sums, const Element* __restrict row, int n) noexcept {
    for (int x = 0; x < n; ++x) sums[x] += static_cast<Sum>(row[x]);
}

/// True if a value that leaves is not finite: the sums that it was part of are spoilt.
template <class Sum, class Element>
KESTROVA_KERNEL bool slideRow(Sum* __restrict sums, const Element* __restrict entering,
                              const Element* __restrict leaving, int n) noexcept {
    int spoilt = 0;
    for (int x = 0; x < n; ++x) {
        if constexpr (std::is_floating_point_v<Element>)
            spoilt |= !(std::abs(leaving[x]) <= std::numeric_limits<Element>::max());
        sums[x] += static_cast<Sum>(entering[x]) - static_cast<Sum>(leaving[x]);
    }
    return spoilt != 0;
}

template <class Sum, class Out, class Finish>
KESTROVA_KERNEL void finishRow(const Sum* sums, Out* __restrict out, int n, Finish finish) noexcept {
    for (int x = 0; x < n; ++x) out[x] = finish(sums[x]);
}

/// From the sums of `length` neighbouring columns those of twice as many, and one column more if `kOdd`.
template <bool kOdd, class Sum, class Out, class Finish>
KESTROVA_KERNEL void doubleRow(const Sum* sums, int length, const Sum* columns, Out* __restrict out, int n,
                               Finish finish) noexcept {
    for (int x = 0; x < n; ++x) {
        const Sum both = sums[x] + sums[x + length];
        out[x] = finish(kOdd ? both + columns[x + 2 * length] : both);
    }
}

/// The same twice over, without the sums between: those of `half` columns are of two times `quarter`, and one more if
/// `kOddHalf`.
template <bool kOdd, bool kOddHalf, class Sum, class Out, class Finish>
KESTROVA_KERNEL void quadrupleRow(const Sum* sums, int quarter, const Sum* columns, Out* __restrict out, int n,
                                  Finish finish) noexcept {
    const int half = 2 * quarter + kOddHalf;
    for (int x = 0; x < n; ++x) {
        Sum left = sums[x] + sums[x + quarter], right = sums[x + half] + sums[x + half + quarter];
        if constexpr (kOddHalf) {
            left += columns[x + 2 * quarter];
            right += columns[x + half + 2 * quarter];
        }
        const Sum both = left + right;
        out[x] = finish(kOdd ? both + columns[x + 2 * half] : both);
    }
}

struct Unchanged {
    template <class Sum>
    Sum operator()(Sum sum) const {
        return sum;
    }
};

/// out[x] = finish(columns[x] + ... + columns[x + width - 1])
template <class Sum, class Out, class Finish>
void sumAcross(const Sum* columns, int width, Sum* scratch, Sum* otherScratch, Out* out, int n,
               Finish finish) noexcept {
    if (width == 1) return finishRow(columns, out, n, finish);
    const int half = width / 2, quarter = half / 2;
    const bool odd = width % 2, oddHalf = half % 2;
    if (half == 1)
        return (odd ? doubleRow<true, Sum, Out, Finish> : doubleRow<false, Sum, Out, Finish>)(columns, half, columns,
                                                                                              out, n, finish);
    const Sum* sums = columns;
    if (quarter > 1) {
        sumAcross(columns, quarter, otherScratch, scratch, scratch, n + half + quarter, Unchanged{});
        sums = scratch;
    }
    const auto quadruple =
        odd ? (oddHalf ? quadrupleRow<true, true, Sum, Out, Finish> : quadrupleRow<true, false, Sum, Out, Finish>)
            : (oddHalf ? quadrupleRow<false, true, Sum, Out, Finish> : quadrupleRow<false, false, Sum, Out, Finish>);
    quadruple(sums, quarter, columns, out, n, finish);
}

/// floor((sum + area / 2) / area) as a product with ceil(2^shift / area), which is exact for sums below 2^31
/// (T. Granlund and P. L. Montgomery, "Division by Invariant Integers using Multiplication", 1994).
template <class Element>
struct MeanOfWords {
    std::uint32_t half, multiplier;
    int shift = 31;

    explicit MeanOfWords(std::uint64_t area) : half(static_cast<std::uint32_t>(area / 2)) {
        while (std::uint64_t{1} << (shift - 31) < area) ++shift;
        multiplier = static_cast<std::uint32_t>(((std::uint64_t{1} << shift) + area - 1) / area);
    }
    Element operator()(std::uint32_t sum) const {
        return static_cast<Element>(static_cast<std::uint64_t>(sum + half) * multiplier >> shift);
    }
};

/// The same for larger sums: (n + 1/2) / area is at least 2^-33 away from a whole number, as there are at most 2^32
/// cells, and is rounded by less than 2^-35, being below 2^16.
template <class Element>
struct MeanOfLargeWords {
    double half, reciprocal;

    explicit MeanOfLargeWords(std::uint64_t area)
        : half(std::floor(static_cast<double>(area) / 2) + 0.5), reciprocal(1 / static_cast<double>(area)) {}
    template <class Sum>
    Element operator()(Sum sum) const {
        return static_cast<Element>(static_cast<int>((static_cast<double>(sum) + half) * reciprocal));
    }
};

struct MeanOfFloats {
    double reciprocal;

    explicit MeanOfFloats(std::uint64_t area) : reciprocal(1 / static_cast<double>(area)) {}
    float operator()(double sum) const { return static_cast<float>(sum * reciprocal); }
};

template <class Sum, class Rows>
void sumColumns(const Rows& rows, int y, const Window& window, Sum* sums) noexcept {
    std::fill_n(sums, window.columns, Sum());
    for (int i = 0; i < window.height; ++i) addRow(sums, rows.row(y - window.above + i), window.columns);
}

template <class Sum, class Element, class Rows, class Mean>
IppStatus filter(const Rows& source, Plane<Element> dst, IppiSize size, const Window& window, const Strips& strips,
                 Mean mean) {
    constexpr int kScratchRows = 3;
    const int tile = std::max(kTile, window.width);
    const auto scratch = allocateScratch<Sum>(static_cast<std::size_t>(kScratchRows) * strips.count(), window.columns);
    if (!scratch) return ippStsNoMemErr;
    parallelStrips(strips.count(), strips.count(), [&](int s, int, int) noexcept {
        Sum* columns = scratch.get() + static_cast<std::ptrdiff_t>(kScratchRows) * s * window.columns;
        Sum *halves = columns + window.columns, *otherHalves = halves + window.columns;
        auto rows = source.strip(strips, s);
        const int first = strips.first(s);
        for (int y = first; y < strips.end(s); ++y) {
            const bool anew = y == first || (std::is_floating_point_v<Element> && y % boxBlockRows(window.height) == 0);
            if (anew || slideRow(columns, rows.row(y + window.below()), rows.row(y - 1 - window.above), window.columns))
                sumColumns(rows, y, window, columns);
            rows.keep(y);
            for (int x = 0; x < size.width; x += tile)
                sumAcross(columns + x, window.width, halves, otherHalves, dst.row(y) + x,
                          std::min(tile, size.width - x), mean);
        }
    });
    return ippStsNoErr;
}

/// With the sums that the element type and the area need.
template <class Element, class Rows>
IppStatus filter(const Rows& rows, Plane<Element> dst, IppiSize size, const Window& window, const Strips& strips) {
    const std::uint64_t area = static_cast<std::uint64_t>(window.width) * static_cast<std::uint64_t>(window.height);
    if constexpr (std::is_floating_point_v<Element>) {
        return filter<double>(rows, dst, size, window, strips, MeanOfFloats(area));
    } else {
        const std::uint64_t largestSum = area * std::numeric_limits<Element>::max() + area / 2;
        if (largestSum >> 31 == 0)
            return filter<std::uint32_t>(rows, dst, size, window, strips, MeanOfWords<Element>(area));
        const MeanOfLargeWords<Element> mean(area);
        if (largestSum >> 32 == 0) return filter<std::uint32_t>(rows, dst, size, window, strips, mean);
        return filter<std::uint64_t>(rows, dst, size, window, strips, mean);
    }
}

IppStatus checkMask(IppiSize mask, IppiPoint anchor, IppiSize region) {
    if (const IppStatus status = checkWindow(mask, anchor, region)) return status;
    const bool tooLarge = static_cast<std::uint64_t>(mask.width) * static_cast<std::uint64_t>(mask.height) >> 32;
    return tooLarge ? ippStsMaskSizeErr : ippStsNoErr;
}

template <class Element>
Strips stripsOf(IppiSize size, const Window& window) {
    return Strips(size.height, size.width, std::is_floating_point_v<Element> ? boxBlockRows(window.height) : 1);
}

template <class Element>
IppStatus filterBox(Plane<const Element> src, Plane<Element> dst, IppiSize size, IppiSize mask, IppiPoint anchor) {
    if (const IppStatus status = checkRegion(size, 1, src, dst)) return status;
    if (const IppStatus status = checkMask(mask, anchor, size)) return status;
    const Window window(mask, anchor, size);
    return filter(SourceRows<Element>(covered(src, window)), dst, size, window, stripsOf<Element>(size, window));
}

template <class Element>
IppStatus filterBoxInPlace(Plane<Element> srcDst, IppiSize size, IppiSize mask, IppiPoint anchor) {
    if (const IppStatus status = checkRegion(size, 1, srcDst)) return status;
    if (const IppStatus status = checkMask(mask, anchor, size)) return status;
    const Window window(mask, anchor, size);
    const Strips strips = stripsOf<Element>(size, window);
    const OriginalRows<Element> rows(covered<Element>({srcDst.elements, srcDst.step}, window), window, strips);
    if (!rows.allocated()) return ippStsNoMemErr;
    return filter(rows, srcDst, size, window, strips);
}

/// prefix[x] = columns[0] + ... + columns[x - 1], 0 <= x <= n, of as many low bits as the sums have.
KESTROVA_KERNEL void sumFromLeft(const std::uint32_t* __restrict columns, std::uint32_t* __restrict prefix,
                                 int n) noexcept {
    typedef std::uint32_t Four __attribute__((vector_size(16)));
    const Four zero = {};
    Four before = {};
    prefix[0] = 0;
    int x = 0;
    for (; x + 4 <= n; x += 4) {
        Four sums;
        std::memcpy(&sums, columns + x, sizeof sums);
        sums += __builtin_shufflevector(zero, sums, 0, 4, 5, 6);
        sums += __builtin_shufflevector(zero, sums, 0, 1, 4, 5);
        const Four all = before + sums;
        std::memcpy(prefix + x + 1, &all, sizeof all);
        before += __builtin_shufflevector(sums, sums, 3, 3, 3, 3);
    }
    for (; x < n; ++x) prefix[x + 1] = prefix[x] + columns[x];
}

template <class Out, class Finish>
KESTROVA_KERNEL void finishDifferences(const std::uint32_t* prefix, int width, Out* __restrict out, int n,
                                       Finish finish) noexcept {
    for (int x = 0; x < n; ++x) out[x] = finish(prefix[x + width] - prefix[x]);
}

constexpr int kLargestRadius = 90;  // of windows whose sums `MeanOfWords` takes

/// The pixel of a side of `n` that stands at `i` in the mirrored plane.
int mirrored(int i, int n) {
    if (n == 1) return 0;
    while (i < 0 || i >= n) i = i < 0 ? -i : 2 * (n - 1) - i;
    return i;
}

/// As `sumAcross`, of up to `kTile` sums. Differences take 0.28 ns a pixel whatever the width, doubling up to 0.56.
template <class Out, class Finish>
void sumAcrossTile(const std::uint32_t* columns, int width, Out* out, int n, Finish finish) noexcept {
    std::uint32_t scratch[kTile + 2 * kLargestRadius + 1], otherScratch[kTile + 2 * kLargestRadius];
    if (width < 21) return sumAcross(columns, width, scratch, otherScratch, out, n, finish);
    sumFromLeft(columns, scratch, n + width - 1);
    finishDifferences(scratch, width, out, n, finish);
}

/// A whole plane, continued beyond its first and last row.
template <class Element>
struct MirroredRows {
    Plane<const Element> plane;
    int height;

    const Element* row(int y) const { return plane.row(mirrored(y, height)); }
};

/// Mirrored columns have the sums of their originals, so that rows without margins are summed.
template <class Element, class Rows>
void filterMirrored(const Rows& source, Plane<Element> dst, IppiSize size, int radius, const Strips& strips) {
    const int side = 2 * radius + 1, covering = size.width + 2 * radius;
    const MeanOfWords<Element> mean(static_cast<std::uint64_t>(side) * side);
    std::vector<std::uint32_t> scratch(static_cast<std::size_t>(covering) * strips.count());
    parallelStrips(strips.count(), strips.count(), [&](int s, int, int) noexcept {
        std::uint32_t* const margin = &scratch[static_cast<std::size_t>(covering) * s];
        std::uint32_t* const columns = margin + radius;
        auto rows = source.strip(strips, s);
        const int first = strips.first(s);
        for (int y = first; y < strips.end(s); ++y) {
            if (y == first)
                for (int i = -radius; i <= radius; ++i) addRow(columns, rows.row(y + i), size.width);
            else
                slideRow(columns, rows.row(y + radius), rows.row(y - 1 - radius), size.width);
            rows.keep(y);
            for (int x = -radius; x < 0; ++x) columns[x] = columns[mirrored(x, size.width)];
            for (int x = size.width; x < size.width + radius; ++x) columns[x] = columns[mirrored(x, size.width)];
            for (int x = 0; x < size.width; x += kTile)
                sumAcrossTile(margin + x, side, dst.row(y) + x, std::min(kTile, size.width - x), mean);
        }
    });
}

template <class Element>
void filterMirrored(Plane<const Element> src, Plane<Element> dst, IppiSize size, int radius) {
    const Window window({1, 2 * radius + 1}, {0, radius}, size);
    const Strips strips(size.height, size.width);
    const MirroredRows<Element> rows{src, size.height};
    if (src.elements != dst.elements) {
        filterMirrored(SourceRows<Element, MirroredRows<Element>>(rows), dst, size, radius, strips);
    } else {
        const OriginalRows<Element, MirroredRows<Element>> originals(rows, window, strips);
        if (!originals.allocated()) throw std::bad_alloc();
        filterMirrored(originals, dst, size, radius, strips);
    }
}

}  // namespace

namespace kestrova::rows {

void filterBoxMirrored(const uchar* src, std::size_t srcStep, uchar* dst, std::size_t dstStep, IppiSize size,
                       int radius) {
    filterMirrored<uchar>({src, static_cast<int>(srcStep)}, {dst, static_cast<int>(dstStep)}, size, radius);
}
void filterBoxMirrored(const ushort* src, std::size_t srcStep, ushort* dst, std::size_t dstStep, IppiSize size,
                       int radius) {
    filterMirrored<ushort>({src, static_cast<int>(srcStep)}, {dst, static_cast<int>(dstStep)}, size, radius);
}

void boxMeansAcross(const double* columns, int maskWidth, int maskHeight, double* scratch, double* otherScratch,
                    float* means, int n) noexcept {
    const std::uint64_t area = static_cast<std::uint64_t>(maskWidth) * static_cast<std::uint64_t>(maskHeight);
    sumAcross(columns, maskWidth, scratch, otherScratch, means, n, MeanOfFloats(area));
}

}  // namespace kestrova::rows

IppStatus ippiFilterBox_8u_C1R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize dstSize,
                               IppiSize maskSize, IppiPoint anchor) {
    return filterBox<uchar>({src, srcStep}, {dst, dstStep}, dstSize, maskSize, anchor);
}
IppStatus ippiFilterBox_16u_C1R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize dstSize,
                                IppiSize maskSize, IppiPoint anchor) {
    return filterBox<ushort>({src, srcStep}, {dst, dstStep}, dstSize, maskSize, anchor);
}
IppStatus ippiFilterBox_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize dstSize,
                                IppiSize maskSize, IppiPoint anchor) {
    return filterBox<float>({src, srcStep}, {dst, dstStep}, dstSize, maskSize, anchor);
}

IppStatus ippiFilterBox_8u_C1IR(uchar* srcDst, int step, IppiSize dstSize, IppiSize maskSize, IppiPoint anchor) {
    return filterBoxInPlace<uchar>({srcDst, step}, dstSize, maskSize, anchor);
}
IppStatus ippiFilterBox_16u_C1IR(ushort* srcDst, int step, IppiSize dstSize, IppiSize maskSize, IppiPoint anchor) {
    return filterBoxInPlace<ushort>({srcDst, step}, dstSize, maskSize, anchor);
}
IppStatus ippiFilterBox_32f_C1IR(float* srcDst, int step, IppiSize dstSize, IppiSize maskSize, IppiPoint anchor) {
    return filterBoxInPlace<float>({srcDst, step}, dstSize, maskSize, anchor);
}
