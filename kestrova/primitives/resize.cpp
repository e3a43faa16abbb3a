#include "kestrova/primitives/resize.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "kestrova/frame/parallel.h"
#include "kestrova/rows/plane.h"
#include "kestrova/rows/resize_axis.h"
#include "kestrova/rows/resize_kernels.h"

using namespace kestrova::frame;
using namespace kestrova::rows;

// A plane is resized in tiles of kTile columns. Each source row that a tile needs is filtered horizontally once,
// into a window of the last four such rows, and each destination row is a sum of up to four rows of the window. Tables
// and window of a tile live on the stack, in the first levels of cache. Where columns and row fall on whole pixels,
// pixels are copied without arithmetic.

namespace {

constexpr int kTile = 4096;
constexpr int kMaxTaps = 4;

// The longest period worth a loop for each of its phases: beyond it a phase is too short.
constexpr int kLongestPeriod = 32;

// How the source is read: where, by how many taps, and with weights in units of 2^-bits (of 1 where sums are double).
struct Sampling {
    ResizeAxis x, y;
    int taps, xBits, yBits;
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
    int wholeColumn[kTile];  // those in [insideBegin, insideEnd)
    int first[kTile];
    W weight[kMaxTaps][kTile];

    Columns(const Sampling& sampling, int begin, int n)
        : axis(sampling.x), count(n), unit(static_cast<W>(1 << sampling.xBits)), advance(axis.advance()) {
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
    W phase[kTile];
    if (c.period == 2) {
        const int odds = n / 2, evens = n - odds;
        W* odd = phase + evens;
        filterPhase(row, c, begin, evens, phase);
        filterPhase(row, c, begin + 1, odds, odd);
        resize_kernels::interleave(phase, odd, out + begin, odds);
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
class Window {
public:
    Window(Plane<const T> src, const Columns<W>& columns) : m_src(src), m_columns(columns), m_held{-1, -1, -1, -1} {}

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
    W m_rows[kMaxTaps][kTile];
};

template <class T, class W>
void sumRows(Window<T, W>& window, const Sampling& s, const SourcePosition& position, T* out, int n) {
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
void resizeTiles(Plane<const T> src, Plane<T> dst, const IppiRect& roi, const Sampling& s) {
    parallelStrips(stripCount(roi.height, roi.width), roi.height, [&](int firstRow, int endRow, int) noexcept {
        for (int x = 0, n; x < roi.width; x += n) {
            n = std::min(kTile, roi.width - x);
            const Columns<W> columns(s, roi.x + x, n);
            Window<T, W> window(src, columns);
            for (int y = roi.y + firstRow; y < roi.y + endRow; ++y) {
                T* out = dst.row(y) + roi.x + x;
                const SourcePosition position = s.y.at(y);
                if (columns.taps > 1 || position.fraction != 0)
                    sumRows(window, s, position, out, n);
                else if (y > roi.y + firstRow && s.y.at(y - 1).pixel == position.pixel)
                    std::copy_n(dst.row(y - 1) + roi.x + x, n, out);
                else
                    copyRow(src.row(s.y.clamp(position.pixel)), columns, out);
            }
        }
    });
}

// The bits of the weights along an axis if they are multiples of a power of two, else -1.
int weightBits(const ResizeAxis& axis, int taps) {
    const int bits = axis.fractionBits();
    if (bits < 1 || taps == 1) return taps == 1 ? 0 : bits;
    return taps == 2 ? bits : 3 * bits + 1;
}

template <class T>
IppStatus resize(const T* src, IppiSize srcSize, int srcStep, IppiRect srcROI, T* dst, int dstStep, IppiRect dstROI,
                 double xFactor, double yFactor, double xShift, double yShift, int interpolation) {
    constexpr std::int64_t size = sizeof(T);
    if (src == nullptr || dst == nullptr) return ippStsNullPtrErr;
    if (srcSize.width < 1 || srcSize.height < 1 || srcROI.width < 1 || srcROI.height < 1) return ippStsSizeErr;
    if (dstROI.width < 1 || dstROI.height < 1 || dstROI.x < 0 || dstROI.y < 0) return ippStsSizeErr;
    if (dstROI.x > INT_MAX - dstROI.width || dstROI.y > INT_MAX - dstROI.height) return ippStsSizeErr;
    const int left = std::max(srcROI.x, 0), top = std::max(srcROI.y, 0);
    const int right = static_cast<int>(std::min<std::int64_t>(srcSize.width, std::int64_t{srcROI.x} + srcROI.width));
    const int bottom = static_cast<int>(std::min<std::int64_t>(srcSize.height, std::int64_t{srcROI.y} + srcROI.height));
    if (left >= right || top >= bottom) return ippStsSizeErr;
    if (srcStep < 1 || dstStep < 1 || srcStep % size != 0 || dstStep % size != 0) return ippStsStepErr;
    if (srcStep < srcSize.width * size || dstStep < (dstROI.x + dstROI.width) * size) return ippStsRowStepErr;
    if (!(xFactor > 0 && yFactor > 0) || !std::isfinite(xFactor) || !std::isfinite(yFactor))
        return ippStsResizeFactorErr;
    if (!std::isfinite(xShift) || !std::isfinite(yShift)) return ippStsResizeFactorErr;

    int taps;
    switch (interpolation) {
        case IPPI_INTER_NN: taps = 1; break;
        case IPPI_INTER_LINEAR: taps = 2; break;
        case IPPI_INTER_CUBIC: taps = 4; break;
        default: return ippStsInterpolationErr;
    }

    Sampling s = {ResizeAxis(xFactor, xShift, taps == 1, left, right),
                  ResizeAxis(yFactor, yShift, taps == 1, top, bottom), taps, 0, 0};
    const Plane<const T> source = {src, srcStep};
    const Plane<T> target = {dst, dstStep};
    if constexpr (std::is_integral_v<T>) {
        // Cubic weights add up to 1.5625 in magnitude at most, in both directions together: such sums fit in an int.
        constexpr int kBitsThatFit = 30 - 8 * size;
        const int xBits = weightBits(s.x, taps), yBits = weightBits(s.y, taps);
        if (xBits >= 0 && yBits >= 0 && xBits + yBits <= kBitsThatFit) {
            s.xBits = xBits, s.yBits = yBits;
            resizeTiles<int>(source, target, dstROI, s);
            return ippStsNoErr;
        }
    }
    resizeTiles<double>(source, target, dstROI, s);
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiResizeGetBufSize(IppiRect, IppiRect, int, int, int* size) {
    if (size == nullptr) return ippStsNullPtrErr;
    *size = 1;
    return ippStsNoErr;
}

IppStatus ippiResizeSqrPixel_8u_C1R(const uchar* src, IppiSize srcSize, int srcStep, IppiRect srcROI, uchar* dst,
                                    int dstStep, IppiRect dstROI, double xFactor, double yFactor, double xShift,
                                    double yShift, int interpolation, uchar*) {
    return resize(src, srcSize, srcStep, srcROI, dst, dstStep, dstROI, xFactor, yFactor, xShift, yShift, interpolation);
}

IppStatus ippiResizeSqrPixel_16u_C1R(const ushort* src, IppiSize srcSize, int srcStep, IppiRect srcROI, ushort* dst,
                                     int dstStep, IppiRect dstROI, double xFactor, double yFactor, double xShift,
                                     double yShift, int interpolation, uchar*) {
    return resize(src, srcSize, srcStep, srcROI, dst, dstStep, dstROI, xFactor, yFactor, xShift, yShift, interpolation);
}

IppStatus ippiResizeSqrPixel_32f_C1R(const float* src, IppiSize srcSize, int srcStep, IppiRect srcROI, float* dst,
                                     int dstStep, IppiRect dstROI, double xFactor, double yFactor, double xShift,
                                     double yShift, int interpolation, uchar*) {
    return resize(src, srcSize, srcStep, srcROI, dst, dstStep, dstROI, xFactor, yFactor, xShift, yShift, interpolation);
}
