#include "kestrova/rows/morphology.h"

#include <algorithm>
#include <limits>

#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"

namespace kestrova::rows {

using namespace frame;

// Minima and maxima are exact in any order and may count a pixel twice: the extreme of a run of cells is that of two
// runs of a power of two that overlap. So a source row is made into a ladder, rung k of which holds the extremes of
// 2^k neighbours, and each run of the mask costs two reads a pixel, however long it is. Source rows are visited once
// and handed on to all the rows of the destination that they lie under.

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

template <class Rule, class Element>
KESTROVA_KERNEL void climbRow(const Element* __restrict rung, int cells, Element* __restrict next, int n) noexcept {
    for (int x = 0; x < n; ++x) next[x] = Rule::of(rung[x], rung[x + cells]);
}

template <class Rule, class Element>
KESTROVA_KERNEL void mergeRow(const Element* __restrict a, const Element* __restrict b, Element* __restrict dst,
                              int n) noexcept {
    for (int x = 0; x < n; ++x) dst[x] = Rule::of(dst[x], Rule::of(a[x], b[x]));
}

/// What the strips have in common.
template <class Element>
struct Job {
    Plane<const Element> src;
    Plane<Element> dst;
    int width;
    Window window;
    const Run* runs;
    int runCount, rungs;
};

/// `ladder` holds the rungs above the source row itself.
template <class Rule, class Element>
void filterStrip(const Job<Element>& job, const Scratch<Element>& ladder, int first, int end) noexcept {
    const Window& window = job.window;
    const auto rung = [&](int k) { return ladder.row(static_cast<std::size_t>(k - 1)); };
    for (int y = first - window.above; y < end + window.below(); ++y) {
        const int newest = y + window.above;
        if (newest < end) std::fill_n(job.dst.row(newest), job.width, Rule::template kNeutral<Element>);
        const Element* row = job.src.row(y);
        for (int k = 1; k <= job.rungs; ++k)
            climbRow<Rule>(k == 1 ? row : rung(k - 1), 1 << (k - 1), rung(k), window.columns - (1 << k) + 1);
        for (const Run* run = job.runs; run != job.runs + job.runCount; ++run) {
            const int target = newest - run->row;
            if (target < first || target >= end) continue;
            const Element* extremes = run->rung == 0 ? row : rung(run->rung);
            mergeRow<Rule>(extremes + run->begin, extremes + run->overlapping, job.dst.row(target), job.width);
        }
    }
}

template <class Rule, class Element>
bool filter(Plane<const Element> src, Plane<Element> dst, IppiSize size, const uchar* mask, const Window& window) {
    const std::size_t mostRunsARow = static_cast<std::size_t>(window.width) / 2 + 1;
    const Scratch<Run> runs(1, static_cast<std::size_t>(window.height) * mostRunsARow);
    const int runCount = findRuns(mask, {window.width, window.height}, runs.row(0));
    if (runCount == 0) return false;
    int rungs = 0;
    for (int i = 0; i < runCount; ++i) rungs = std::max(rungs, runs.row(0)[i].rung);

    const Job<Element> job{covered(src, window), dst, size.width, window, runs.row(0), runCount, rungs};
    forEachStrip(
        Strips::onePerThread(size.height, workOf(size.width, 2)),
        [&] { return Scratch<Element>(static_cast<std::size_t>(rungs), static_cast<std::size_t>(window.columns)); },
        [&](int first, int end, const Scratch<Element>& ladder) noexcept {
            filterStrip<Rule>(job, ladder, first, end);
        });
    return true;
}

template <class Rule, class Element>
KESTROVA_KERNEL void extremeOfThreeRows(const Element* above, const Element* centre, const Element* below,
                                        Element* __restrict out, int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = Rule::of(Rule::of(above[x], centre[x]), below[x]);
}

template <class Rule, class Element>
KESTROVA_KERNEL void extremeOfThreeColumns(const Element* __restrict columns, Element* __restrict dst, int n) noexcept {
    for (int x = 0; x < n; ++x) dst[x] = Rule::of(Rule::of(columns[x], columns[x + 1]), columns[x + 2]);
}

/// What a strip works with.
template <class Element>
struct StripWork3x3 {
    OriginalRows<Element> rows;
    Scratch<Element> columns;
};

template <class Rule, class Element>
void filter3x3(Plane<Element> srcDst, IppiSize size) {
    const Window window({3, 3}, {1, 1}, size);
    const Strips strips = Strips::onePerThread(size.height, size.width);
    const auto source = covered<Element>({srcDst.elements, srcDst.step}, window);
    forEachStrip(
        strips,
        [&](int s) {
            StripWork3x3<Element> work{{window, strips.first(s), strips.end(s)},
                                       {1, static_cast<std::size_t>(window.columns)}};
            work.rows.begin(source);
            return work;
        },
        [&](int first, int end, StripWork3x3<Element>& work) noexcept {
            Element* const columns = work.columns.row(0);
            for (int y = first; y < end; ++y) {
                extremeOfThreeRows<Rule>(work.rows.row(y - 1), work.rows.row(y), work.rows.row(y + 1), columns,
                                         window.columns);
                work.rows.keep(y);
                extremeOfThreeColumns<Rule>(columns, srcDst.row(y), size.width);
            }
        });
}

}  // namespace

template <class Element>
bool filterExtremes(Extreme extreme, Plane<const Element> src, Plane<Element> dst, IppiSize size, const uchar* mask,
                    const Window& window) {
    return extreme == Extreme::kMinimum ? filter<Minimum>(src, dst, size, mask, window)
                                        : filter<Maximum>(src, dst, size, mask, window);
}

template <class Element>
void filterExtremes3x3(Extreme extreme, Plane<Element> srcDst, IppiSize size) {
    extreme == Extreme::kMinimum ? filter3x3<Minimum>(srcDst, size) : filter3x3<Maximum>(srcDst, size);
}

template bool filterExtremes(Extreme, Plane<const uchar>, Plane<uchar>, IppiSize, const uchar*, const Window&);
template bool filterExtremes(Extreme, Plane<const ushort>, Plane<ushort>, IppiSize, const uchar*, const Window&);
template void filterExtremes3x3(Extreme, Plane<uchar>, IppiSize);
template void filterExtremes3x3(Extreme, Plane<ushort>, IppiSize);

}  // namespace kestrova::rows
