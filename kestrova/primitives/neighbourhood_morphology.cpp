#include <limits>

#include "kestrova/frame/kernel.h"
#include "kestrova/primitives/neighbourhood.h"
#include "kestrova/rows/window.h"

using namespace kestrova::frame;
using namespace kestrova::rows;

/// Minima and maxima are exact in any order and may count a pixel twice: the extreme of a run of cells is that of two
/// runs of a power of two that overlap. So a source row is made into a ladder, rung k of which holds the extremes of
/// 2^k neighbours, and each run of the mask costs two reads a pixel, however long it is. Source rows are visited once
/// and handed on to all the rows of the destination that they lie under.

namespace {

struct Minimum {
    template <class Element>
    static constexpr Element kNeutral = std::numeric_limits<Element>::max();
    template <class Element>
    static Element of(Element a, Element b) {
        return b < a ? b : a;
    }
};
struct Maximum {
    template <class Element>
    static constexpr Element kNeutral = 0;
    template <class Element>
    static Element of(Element a, Element b) {
        return a < b ? b : a;
    }
};

/// Neighbouring cells of a row of the mask as two runs of 2^rung cells, from columns `begin` and `overlapping`.
struct Run {
    int row, rung;
    int begin, overlapping;
};

int largestRung(int cells) {
    int rung = 0;
    while (cells >> (rung + 1)) ++rung;
    return rung;
}

/// Writes the runs of the mask to `runs` and returns their number.
int findRuns(const uchar* mask, IppiSize size, Run* runs) {
    int count = 0;
    for (int row = 0; row < size.height; ++row, mask += size.width) {
        for (int begin = 0, end; begin < size.width; begin = end + 1) {
            for (end = begin; end < size.width && mask[end];) ++end;
            if (end == begin) continue;
            const int rung = largestRung(end - begin);
            runs[count++] = {row, rung, begin, end - (1 << rung)};
        }
    }
    return count;
}

template <class Extreme, class Element>
KESTROVA_KERNEL void climbRow(const Element* __restrict rung, int cells, Element* __restrict next, int n) noexcept {
    for (int x = 0; x < n; ++x) next[x] = Extreme::of(rung[x], rung[x + cells]);
}

template <class Extreme, class Element>
KESTROVA_KERNEL void mergeRow(const Element* __restrict a, const Element* __restrict b, Element* __restrict dst,
                              int n) noexcept {
    for (int x = 0; x < n; ++x) dst[x] = Extreme::of(dst[x], Extreme::of(a[x], b[x]));
}

/// What the strips have in common.
template <class Element>
struct Job {
    SourceRows<Element> src;
    Plane<Element> dst;
    int width;
    Window window;
    const Run* runs;
    int runCount, rungs;
};

/// `ladder` holds the rungs above the source row itself.
template <class Extreme, class Element>
void filterStrip(const Job<Element>& job, Element* ladder, int first, int end) noexcept {
    const Window& window = job.window;
    for (int y = first - window.above; y < end + window.below(); ++y) {
        const int newest = y + window.above;
        if (newest < end) std::fill_n(job.dst.row(newest), job.width, Extreme::template kNeutral<Element>);
        const auto rung = [&](int k) { return ladder + static_cast<std::ptrdiff_t>(k - 1) * window.columns; };
        const Element* row = job.src.row(y);
        for (int k = 1; k <= job.rungs; ++k)
            climbRow<Extreme>(k == 1 ? row : rung(k - 1), 1 << (k - 1), rung(k), window.columns - (1 << k) + 1);
        for (const Run* run = job.runs; run != job.runs + job.runCount; ++run) {
            const int target = newest - run->row;
            if (target < first || target >= end) continue;
            const Element* extremes = run->rung == 0 ? row : rung(run->rung);
            mergeRow<Extreme>(extremes + run->begin, extremes + run->overlapping, job.dst.row(target), job.width);
        }
    }
}

template <class Extreme, class Element>
IppStatus filter(Plane<const Element> src, Plane<Element> dst, IppiSize size, const uchar* mask, IppiSize maskSize,
                 IppiPoint anchor) {
    if (!mask) return ippStsNullPtrErr;
    if (const IppStatus status = checkRegion(size, 1, src, dst)) return status;
    if (const IppStatus status = checkWindow(maskSize, anchor, size)) return status;
    const Window window(maskSize, anchor, size);
    const auto runs = allocateScratch<Run>(static_cast<std::size_t>(window.height), window.width / 2 + 1);
    if (!runs) return ippStsNoMemErr;
    const int runCount = findRuns(mask, maskSize, runs.get());
    if (runCount == 0) return ippStsMaskSizeErr;
    int rungs = 0;
    for (int i = 0; i < runCount; ++i) rungs = std::max(rungs, runs[i].rung);

    const Strips strips(size.height, size.width);
    const auto ladders = allocateScratch<Element>(static_cast<std::size_t>(rungs) * strips.count(), window.columns);
    if (!ladders) return ippStsNoMemErr;
    const Job<Element> job{
        SourceRows<Element>(covered(src, window)), dst, size.width, window, runs.get(), runCount, rungs};
    parallelStrips(strips.count(), size.height, [&](int first, int end, int s) noexcept {
        filterStrip<Extreme>(job, ladders.get() + static_cast<std::ptrdiff_t>(rungs) * s * window.columns, first, end);
    });
    return ippStsNoErr;
}

template <class Extreme, class Element>
KESTROVA_KERNEL void extremeOfThreeRows(const Element* above, const Element* centre, const Element* below,
                                        Element* __restrict out, int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = Extreme::of(Extreme::of(above[x], centre[x]), below[x]);
}

template <class Extreme, class Element>
KESTROVA_KERNEL void extremeOfThreeColumns(const Element* __restrict columns, Element* __restrict dst, int n) noexcept {
    for (int x = 0; x < n; ++x) dst[x] = Extreme::of(Extreme::of(columns[x], columns[x + 1]), columns[x + 2]);
}

template <class Extreme, class Element>
IppStatus filter3x3InPlace(Plane<Element> srcDst, IppiSize size) {
    constexpr IppiSize kMask{3, 3};
    constexpr IppiPoint kAnchor{1, 1};
    if (const IppStatus status = checkRegion(size, 1, srcDst)) return status;
    if (const IppStatus status = checkWindow(kMask, kAnchor, size)) return status;
    const Window window(kMask, kAnchor, size);
    const Strips strips(size.height, size.width);
    const OriginalRows<Element> source(covered<Element>({srcDst.elements, srcDst.step}, window), window, strips);
    const auto scratch = allocateScratch<Element>(strips.count(), window.columns);
    if (!source.allocated() || !scratch) return ippStsNoMemErr;
    parallelStrips(strips.count(), strips.count(), [&](int s, int, int) noexcept {
        Element* columns = scratch.get() + static_cast<std::ptrdiff_t>(s) * window.columns;
        auto rows = source.strip(strips, s);
        for (int y = strips.first(s); y < strips.end(s); ++y) {
            extremeOfThreeRows<Extreme>(rows.row(y - 1), rows.row(y), rows.row(y + 1), columns, window.columns);
            rows.keep(y);
            extremeOfThreeColumns<Extreme>(columns, srcDst.row(y), size.width);
        }
    });
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiErode_8u_C1R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize dstSize, const uchar* mask,
                           IppiSize maskSize, IppiPoint anchor) {
    return filter<Minimum, uchar>({src, srcStep}, {dst, dstStep}, dstSize, mask, maskSize, anchor);
}
IppStatus ippiErode_16u_C1R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize dstSize,
                            const uchar* mask, IppiSize maskSize, IppiPoint anchor) {
    return filter<Minimum, ushort>({src, srcStep}, {dst, dstStep}, dstSize, mask, maskSize, anchor);
}
IppStatus ippiDilate_8u_C1R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize dstSize, const uchar* mask,
                            IppiSize maskSize, IppiPoint anchor) {
    return filter<Maximum, uchar>({src, srcStep}, {dst, dstStep}, dstSize, mask, maskSize, anchor);
}
IppStatus ippiDilate_16u_C1R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize dstSize,
                             const uchar* mask, IppiSize maskSize, IppiPoint anchor) {
    return filter<Maximum, ushort>({src, srcStep}, {dst, dstStep}, dstSize, mask, maskSize, anchor);
}

IppStatus ippiErode3x3_16u_C1IR(ushort* srcDst, int step, IppiSize size) {
    return filter3x3InPlace<Minimum, ushort>({srcDst, step}, size);
}
IppStatus ippiDilate3x3_16u_C1IR(ushort* srcDst, int step, IppiSize size) {
    return filter3x3InPlace<Maximum, ushort>({srcDst, step}, size);
}
