#include "kestrova/rows/resize_plane.h"

#include <algorithm>
#include <cstddef>
#include <type_traits>

#include "kestrova/frame/parallel.h"
#include "kestrova/rows/interleave.h"
#include "kestrova/rows/resize_kernels.h"
#include "kestrova/rows/scratch.h"

// A plane is resized in tiles of kResizeTile columns. Each source row that a tile needs is filtered horizontally once,
// into a window of the last four such rows, and each destination row is a sum of up to four rows of the window. Tables
// and window of a tile stay in the first levels of cache. Where columns and row fall on whole pixels, pixels are copied
// without arithmetic.

namespace kestrova::rows {

using namespace frame;

namespace {

constexpr int kResizeTile = 4096;
constexpr int kMaxTaps = 4;

// The longest period worth a loop for each of its phases: beyond it a phase is too short.
constexpr int kLongestPeriod = 32;

// The sampling with weights in units of 2^-bits (of 1 where sums are double).
struct BitSampling : Sampling {
    int xBits, yBits;
};

// What a strip works with, for tiles of up to `tile` columns.
template <class W>
struct TileScratch {
    static constexpr std::size_t kIntRows = 2, kSumRows = 2 * kMaxTaps + 1;

    Scratch<int> ints;
    Scratch<W> sums;

    explicit TileScratch(int tile)
        : ints(kIntRows, static_cast<std::size_t>(tile)), sums(kSumRows, static_cast<std::size_t>(tile)) {}

    int* wholeColumn() const { return ints.row(0); }
    int* first() const { return ints.row(1); }
    W* weight(int tap) const { return sums.row(static_cast<std::size_t>(tap)); }
    W* windowRow(int slot) const { return sums.row(kMaxTaps + static_cast<std::size_t>(slot)); }
    W* phase() const { return sums.row(2 * kMaxTaps); }
};

// The weights of `taps` taps at a position; at a whole pixel all of it lies on tap `leadOf(taps)`.
template <class W>
void setWeights(double fraction, int taps, int bits, W* weights) {
    double w[kMaxTaps] = {1};
    if (taps == 2) linearWeights(fraction, w);
    if (taps == 4) cubicWeights(fraction, w);
    for (int k = 0; k < taps; ++k) weights[k] = static_cast<W>(w[k] * (1 << bits));
}

// How many taps stand before the pixel that a position falls on.
int leadOf(int taps) { return taps == 4 ? 1 : 0; }

// The columns of one tile: column x is read from pixel first[x] on, tap k with weight[k][x]. A column on a whole pixel
// is a copy of it: no infinity beside that pixel may reach it through a weight of 0.
template <class W>
struct Columns {
    const ResizeAxis& axis;
    int count;
    int taps = 1;  // 1 if all columns are whole
    W unit;
    int insideBegin = 0, insideEnd = 0;  // where all taps lie in the source
    int period = 0;                      // of the weights, if it is worth a loop for each phase
    std::ptrdiff_t advance;              // in the source, of one period
    int wholes = 0;
    int* wholeColumn;  // those in [insideBegin, insideEnd)
    int* first;
    W* weight[kMaxTaps];
    W* phase;  // room for a phase

    Columns(const BitSampling& sampling, int begin, int n, const TileScratch<W>& scratch)
        : axis(sampling.x),
          count(n),
          unit(static_cast<W>(1 << sampling.xBits)),
          advance(axis.advance()),
          wholeColumn(scratch.wholeColumn()),
          first(scratch.first()),
          phase(scratch.phase()) {
        for (int k = 0; k < kMaxTaps; ++k) weight[k] = scratch.weight(k);
        for (int x = 0; x < n && taps == 1; ++x)
            if (axis.at(begin + x).fraction != 0) taps = sampling.taps;
        for (int x = 0; x < n; ++x) {
            const SourcePosition position = axis.at(begin + x);
            first[x] = position.pixel - leadOf(taps);
            W w[kMaxTaps];
            setWeights(position.fraction, taps, sampling.xBits, w);
            for (int k = 0; k < taps; ++k) weight[k][x] = w[k];
            if (!axis.inside(first[x], taps)) continue;
            if (insideEnd == 0) insideBegin = x;
            insideEnd = x + 1;
            if (whole(x)) wholeColumn[wholes++] = x;
        }
        if (axis.period() <= kLongestPeriod && 2 * axis.period() <= insideEnd - insideBegin)
            period = static_cast<int>(axis.period());
    }

    int lead() const { return leadOf(taps); }
    bool whole(int x) const { return weight[lead()][x] == unit; }
};

template <class T, class W>
void filterEdge(const T* row, const Columns<W>& c, int begin, int end, W* out) {
    for (int x = begin; x < end; ++x) {
        if (c.whole(x)) {
            out[x] = c.unit * static_cast<W>(row[c.axis.clamp(c.first[x] + c.lead())]);
        } else {
            out[x] = 0;
            for (int k = 0; k < c.taps; ++k)
                out[x] += c.weight[k][x] * static_cast<W>(row[c.axis.clamp(c.first[x] + k)]);
        }
    }
}

template <class T, class W>
void filterByTable(const T* row, const Columns<W>& c, W* out) {
    const int b = c.insideBegin, n = c.insideEnd - b;
    const auto& w = c.weight;
    if (c.taps == 2) resize_kernels::table2(row, c.first + b, w[0] + b, w[1] + b, out + b, n);
    if (c.taps == 4) resize_kernels::table4(row, c.first + b, w[0] + b, w[1] + b, w[2] + b, w[3] + b, out + b, n);
    for (int k = 0; k < c.wholes; ++k) {
        const int x = c.wholeColumn[k];
        out[x] = c.unit * static_cast<W>(row[c.first[x] + c.lead()]);
    }
}

// n columns from x on, one period apart, side by side in `out`.
template <class T, class W>
void filterPhase(const T* row, const Columns<W>& c, int x, int n, W* out) {
    const T* p = row + c.first[x];
    const auto& w = c.weight;
    if (c.whole(x))
        resize_kernels::phase1(p + c.lead(), c.advance, c.unit, out, n);
    else if (c.taps == 2)
        resize_kernels::phase2(p, c.advance, w[0][x], w[1][x], out, n);
    else
        resize_kernels::phase4(p, c.advance, w[0][x], w[1][x], w[2][x], w[3][x], out, n);
}

template <class T, class W>
void filterPhases(const T* row, const Columns<W>& c, W* out) {
    const int begin = c.insideBegin, n = c.insideEnd - begin;
    if (c.period == 1) {
        filterPhase(row, c, begin, n, out + begin);
        return;
    }
    W* const phase = c.phase;
    if (c.period == 2) {
        const int odds = n / 2, evens = n - odds;
        W* odd = phase + evens;
        filterPhase(row, c, begin, evens, phase);
        filterPhase(row, c, begin + 1, odds, odd);
        interleave(phase, odd, out + begin, odds);
        if (evens > odds) out[begin + 2 * odds] = phase[odds];
        return;
    }
    for (int k = 0; k < c.period; ++k) {
        const int columns = (n - k + c.period - 1) / c.period;
        filterPhase(row, c, begin + k, columns, phase);
        resize_kernels::spread(phase, out + begin + k, c.period, columns);
    }
}

template <class T, class W>
void filterRow(const T* row, const Columns<W>& c, W* out) {
    filterEdge(row, c, 0, c.insideBegin, out);
    if (c.period > 0)
        filterPhases(row, c, out);
    else
        filterByTable(row, c, out);
    filterEdge(row, c, c.insideEnd, c.count, out);
}

template <class T, class W>
void copyRow(const T* row, const Columns<W>& c, T* out) {
    const int b = c.insideBegin, n = c.insideEnd - b;
    for (int x = 0; x < b; ++x) out[x] = row[c.axis.clamp(c.first[x])];
    if (c.period == 1)
        resize_kernels::stride(row + c.first[b], c.advance, out + b, n);
    else
        resize_kernels::gather(row, c.first + b, out + b, n);
    for (int x = c.insideEnd; x < c.count; ++x) out[x] = row[c.axis.clamp(c.first[x])];
}

// The source rows that a destination row is summed from, filtered horizontally. They follow one another, so that the
// last four of them are all there is to keep.
template <class T, class W>
class FilteredRows {
public:
    FilteredRows(Plane<const T> src, const Columns<W>& columns, const TileScratch<W>& scratch)
        : m_src(src), m_columns(columns), m_held{-1, -1, -1, -1} {
        for (int slot = 0; slot < kMaxTaps; ++slot) m_rows[slot] = scratch.windowRow(slot);
    }

    const W* row(int y) {
        const int slot = y % kMaxTaps;
        if (m_held[slot] != y) filterRow(m_src.row(y), m_columns, m_rows[slot]);
        m_held[slot] = y;
        return m_rows[slot];
    }

private:
    Plane<const T> m_src;
    const Columns<W>& m_columns;
    int m_held[kMaxTaps];
    W* m_rows[kMaxTaps];
};

template <class T, class W>
void sumRows(FilteredRows<T, W>& window, const BitSampling& s, const SourcePosition& position, T* out, int n) {
    if (position.fraction == 0) return resize_kernels::sumRows1(window.row(s.y.clamp(position.pixel)), s.xBits, out, n);
    const int bits = s.xBits + s.yBits;
    const W* row[kMaxTaps];
    W w[kMaxTaps];
    setWeights(position.fraction, s.taps, s.yBits, w);
    for (int k = 0; k < s.taps; ++k) row[k] = window.row(s.y.clamp(position.pixel - leadOf(s.taps) + k));
    if (s.taps == 2)
        resize_kernels::sumRows2(row[0], row[1], w[0], w[1], bits, out, n);
    else
        resize_kernels::sumRows4(row[0], row[1], row[2], row[3], w[0], w[1], w[2], w[3], bits, out, n);
}

// Sums are of type W.
template <class W, class T>
void resizeTiles(Plane<const T> src, Plane<T> dst, const IppiRect& roi, const BitSampling& s) {
    const int tile = std::min(kResizeTile, roi.width);
    const auto resizeStrip = [&](int firstRow, int endRow, const TileScratch<W>& scratch) noexcept {
        for (int x = 0, n; x < roi.width; x += n) {
            n = std::min(tile, roi.width - x);
            const Columns<W> columns(s, roi.x + x, n, scratch);
            FilteredRows<T, W> rows(src, columns, scratch);
            for (int y = roi.y + firstRow; y < roi.y + endRow; ++y) {
                T* out = dst.row(y) + roi.x + x;
                const SourcePosition position = s.y.at(y);
                if (columns.taps > 1 || position.fraction != 0)
                    sumRows(rows, s, position, out, n);
                else if (y > roi.y + firstRow && s.y.at(y - 1).pixel == position.pixel)
                    std::copy_n(dst.row(y - 1) + roi.x + x, n, out);
                else
                    copyRow(src.row(s.y.clamp(position.pixel)), columns, out);
            }
        }
    };
    forEachStrip(
        Strips::onePerThread(roi.height, workOf(roi.width, 2)), [&] { return TileScratch<W>(tile); }, resizeStrip);
}

// The bits of the weights along an axis if they are multiples of a power of two, else -1.
int weightBits(const ResizeAxis& axis, int taps) {
    const int bits = axis.fractionBits();
    if (bits < 1 || taps == 1) return taps == 1 ? 0 : bits;
    return taps == 2 ? bits : 3 * bits + 1;
}

}  // namespace

template <class Element>
void resizePlane(Plane<const Element> src, Plane<Element> dst, const IppiRect& roi, const Sampling& sampling) {
    if constexpr (std::is_integral_v<Element>) {
        // Cubic weights add up to 1.5625 in magnitude at most, in both directions together: such sums fit in an int.
        constexpr int kBitsThatFit = 30 - 8 * static_cast<int>(sizeof(Element));
        const int xBits = weightBits(sampling.x, sampling.taps), yBits = weightBits(sampling.y, sampling.taps);
        if (xBits >= 0 && yBits >= 0 && xBits + yBits <= kBitsThatFit)
            return resizeTiles<int>(src, dst, roi, {sampling, xBits, yBits});
    }
    resizeTiles<double>(src, dst, roi, {sampling, 0, 0});
}

template void resizePlane(Plane<const uchar>, Plane<uchar>, const IppiRect&, const Sampling&);
template void resizePlane(Plane<const ushort>, Plane<ushort>, const IppiRect&, const Sampling&);
template void resizePlane(Plane<const float>, Plane<float>, const IppiRect&, const Sampling&);

}  // namespace kestrova::rows
