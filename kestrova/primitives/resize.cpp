#include "kestrova/primitives/resize.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/primitives/resize_axis.h"

// A plane is resized in tiles of kTile columns. Each source row that a tile needs is filtered horizontally once, into a
// window of the last four such rows, and each destination row is a sum of up to four rows of the window. Tables and
// window of a tile live on the stack, in the first levels of cache. Where columns and row fall on whole pixels, pixels
// are copied without arithmetic.

namespace {

constexpr int kTile = 1024;
constexpr int kMaxTaps = 4;

// The longest period worth a loop for each of its phases: beyond it a phase is too short.
constexpr int kLongestPeriod = 32;

// Taps of an axis at one position. A whole position takes its one pixel on every tap, in equal shares: the sum is
// exactly that pixel, and no infinity beside it spoils it.
struct Taps {
    int index[kMaxTaps];
    double weight[kMaxTaps];
    bool inside;
};

Taps tapsAt(const ResizeAxis& axis, const SourcePosition& position, int count) {
    Taps taps;
    const bool whole = position.fraction == 0;
    const int first = position.pixel - (count == 4 ? 1 : 0);
    taps.inside = axis.inside(first, count);
    for (int k = 0; k < count; ++k) {
        taps.index[k] = axis.clamp(whole ? position.pixel : first + k);
        taps.weight[k] = 1.0 / count;
    }
    if (!whole && count == 2) linearWeights(position.fraction, taps.weight);
    if (!whole && count == 4) cubicWeights(position.fraction, taps.weight);
    return taps;
}

// The columns of one tile: tap k of column x is pixel index[k][x] with weight[k][x].
struct Columns {
    int count;
    int taps;                    // 1 if all columns fall on whole pixels
    int insideBegin, insideEnd;  // where no tap is clamped
    int index[kMaxTaps][kTile];
    double weight[kMaxTaps][kTile];

    bool whole(int x) const { return index[0][x] == index[taps - 1][x]; }
};

void setColumns(Columns& columns, const ResizeAxis& axis, int firstColumn, int count, int fullTaps) {
    columns.count = count;
    columns.taps = 1;
    for (int x = 0; x < count && columns.taps == 1; ++x)
        if (axis.at(firstColumn + x).fraction != 0) columns.taps = fullTaps;
    columns.insideBegin = columns.insideEnd = 0;
    for (int x = 0; x < count; ++x) {
        const Taps taps = tapsAt(axis, axis.at(firstColumn + x), columns.taps);
        for (int k = 0; k < columns.taps; ++k) {
            columns.index[k][x] = taps.index[k];
            columns.weight[k][x] = taps.weight[k];
        }
        if (taps.inside) {
            if (columns.insideEnd == 0) columns.insideBegin = x;
            columns.insideEnd = x + 1;
        }
    }
}

// ---- Row kernels

template <class T>
inline double weighted(double weight, T pixel) {
    return weight * static_cast<double>(pixel);
}

template <class T>
KESTROVA_KERNEL void gatherRow(const T* __restrict row, const int* __restrict index, T* __restrict out,
                               int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = row[index[x]];
}

template <class T>
KESTROVA_KERNEL void strideRow(const T* __restrict row, std::ptrdiff_t advance, T* __restrict out, int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = row[x * advance];
}

template <class T>
KESTROVA_KERNEL void filterRow1(const T* __restrict row, const int* __restrict index, double* __restrict out,
                                int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = row[index[x]];
}

template <class T>
KESTROVA_KERNEL void filterRow2(const T* __restrict row, const int* __restrict i0, const int* __restrict i1,
                                const double* __restrict w0, const double* __restrict w1, double* __restrict out,
                                int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = weighted(w0[x], row[i0[x]]) + weighted(w1[x], row[i1[x]]);
}

template <class T>
KESTROVA_KERNEL void filterRow4(const T* __restrict row, const int* __restrict i0, const int* __restrict i1,
                                const int* __restrict i2, const int* __restrict i3, const double* __restrict w0,
                                const double* __restrict w1, const double* __restrict w2, const double* __restrict w3,
                                double* __restrict out, int n) noexcept {
    for (int x = 0; x < n; ++x)
        out[x] = weighted(w0[x], row[i0[x]]) + weighted(w1[x], row[i1[x]]) + weighted(w2[x], row[i2[x]]) +
                 weighted(w3[x], row[i3[x]]);
}

// One phase of a periodic pattern: the weights are the same for every `period`-th column.
template <class T>
KESTROVA_KERNEL void filterPhase1(const T* __restrict row, std::ptrdiff_t advance, double* __restrict out,
                                  std::ptrdiff_t period, int n) noexcept {
    for (int x = 0; x < n; ++x) out[x * period] = row[x * advance];
}

template <class T>
KESTROVA_KERNEL void filterPhase2(const T* __restrict row, std::ptrdiff_t advance, double w0, double w1,
                                  double* __restrict out, std::ptrdiff_t period, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const T* p = row + x * advance;
        out[x * period] = weighted(w0, p[0]) + weighted(w1, p[1]);
    }
}

template <class T>
KESTROVA_KERNEL void filterPhase4(const T* __restrict row, std::ptrdiff_t advance, double w0, double w1, double w2,
                                  double w3, double* __restrict out, std::ptrdiff_t period, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const T* p = row + x * advance;
        out[x * period] = weighted(w0, p[0]) + weighted(w1, p[1]) + weighted(w2, p[2]) + weighted(w3, p[3]);
    }
}

// Halves go up. What lies less than 2^-30 below a half is a half: sums carry noise of some 2^-34, from weights such as
// 1/18, while bilinear sums by factors up to 40 that are not halves miss them by 2^-24 or more.
constexpr double kHalfUp = 0.5 + 0x1p-30;

template <class T>
T rounded(double v) {
    constexpr double top = static_cast<T>(-1);
    v += kHalfUp;
    v = v > 0 ? v : 0;
    v = v < top ? v : top;
    return static_cast<T>(static_cast<int>(v));
}
template <>
float rounded<float>(double v) {
    return static_cast<float>(v);
}

template <class T>
KESTROVA_KERNEL void sumRows1(const double* __restrict a, T* __restrict out, int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = rounded<T>(a[x]);
}

template <class T>
KESTROVA_KERNEL void sumRows2(const double* __restrict a, const double* __restrict b, double wa, double wb,
                              T* __restrict out, int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = rounded<T>(wa * a[x] + wb * b[x]);
}

template <class T>
KESTROVA_KERNEL void sumRows4(const double* __restrict a, const double* __restrict b, const double* __restrict c,
                              const double* __restrict d, double wa, double wb, double wc, double wd, T* __restrict out,
                              int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = rounded<T>(wa * a[x] + wb * b[x] + wc * c[x] + wd * d[x]);
}

// ---- Driver

template <class T>
void filterColumns(const T* row, const Columns& c, int from, int to, double* out) {
    const int* i[kMaxTaps];
    const double* w[kMaxTaps];
    for (int k = 0; k < c.taps; ++k) i[k] = c.index[k] + from, w[k] = c.weight[k] + from;
    const int n = to - from;
    out += from;
    if (c.taps == 1) filterRow1(row, i[0], out, n);
    if (c.taps == 2) filterRow2(row, i[0], i[1], w[0], w[1], out, n);
    if (c.taps == 4) filterRow4(row, i[0], i[1], i[2], i[3], w[0], w[1], w[2], w[3], out, n);
}

template <class T>
void filterPhases(const T* row, const Columns& c, const ResizeAxis& axis, double* out) {
    const int period = static_cast<int>(axis.period());
    const std::ptrdiff_t advance = static_cast<std::ptrdiff_t>(axis.advance());
    for (int x = c.insideBegin; x < c.insideBegin + period; ++x) {
        const int n = (c.insideEnd - x + period - 1) / period;
        const T* p = row + c.index[0][x];
        if (c.whole(x))
            filterPhase1(p, advance, out + x, period, n);
        else if (c.taps == 2)
            filterPhase2(p, advance, c.weight[0][x], c.weight[1][x], out + x, period, n);
        else
            filterPhase4(p, advance, c.weight[0][x], c.weight[1][x], c.weight[2][x], c.weight[3][x], out + x, period,
                         n);
    }
}

template <class T>
void filterRow(const T* row, const Columns& c, const ResizeAxis& axis, double* out) {
    const bool phases =
        axis.period() > 0 && axis.period() <= kLongestPeriod && c.insideEnd - c.insideBegin >= 2 * axis.period();
    if (!phases) return filterColumns(row, c, 0, c.count, out);
    filterColumns(row, c, 0, c.insideBegin, out);
    filterPhases(row, c, axis, out);
    filterColumns(row, c, c.insideEnd, c.count, out);
}

template <class T>
void copyColumns(const T* row, const Columns& c, const ResizeAxis& axis, T* out) {
    if (axis.period() != 1) return gatherRow(row, c.index[0], out, c.count);
    gatherRow(row, c.index[0], out, c.insideBegin);
    strideRow(row + c.index[0][c.insideBegin], axis.advance(), out + c.insideBegin, c.insideEnd - c.insideBegin);
    gatherRow(row, c.index[0] + c.insideEnd, out + c.insideEnd, c.count - c.insideEnd);
}

template <class T>
T* rowOf(T* data, int step, int y) {
    using Byte = std::conditional_t<std::is_const_v<T>, const uchar, uchar>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(data) + static_cast<std::ptrdiff_t>(y) * step);
}

// The source rows that a destination row is summed from, filtered horizontally. They follow one another, so that the
// last four of them are all there is to keep.
template <class T>
class Window {
public:
    Window(const T* src, int srcStep, const Columns& columns, const ResizeAxis& axis)
        : m_src(src), m_srcStep(srcStep), m_columns(columns), m_axis(axis), m_held{-1, -1, -1, -1} {}

    const double* row(int y) {
        const int slot = y % kMaxTaps;
        if (m_held[slot] != y) filterRow(rowOf(m_src, m_srcStep, y), m_columns, m_axis, m_rows[slot]);
        m_held[slot] = y;
        return m_rows[slot];
    }

private:
    const T* m_src;
    int m_srcStep;
    const Columns& m_columns;
    const ResizeAxis& m_axis;
    int m_held[kMaxTaps];
    double m_rows[kMaxTaps][kTile];
};

template <class T>
void sumRows(Window<T>& window, const Taps& taps, int count, T* out, int n) {
    const double* row[kMaxTaps];
    for (int k = 0; k < count; ++k) row[k] = window.row(taps.index[k]);
    const double* w = taps.weight;
    if (count == 1) sumRows1(row[0], out, n);
    if (count == 2) sumRows2(row[0], row[1], w[0], w[1], out, n);
    if (count == 4) sumRows4(row[0], row[1], row[2], row[3], w[0], w[1], w[2], w[3], out, n);
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

    const ResizeAxis xAxis(xFactor, xShift, taps == 1, left, right), yAxis(yFactor, yShift, taps == 1, top, bottom);
    const int strips = stripCount(dstROI.height, dstROI.width);
    parallelStrips(strips, dstROI.height, [&](int firstRow, int endRow, int) noexcept {
        for (int x = 0; x < dstROI.width; x += kTile) {
            Columns columns;
            setColumns(columns, xAxis, dstROI.x + x, std::min(kTile, dstROI.width - x), taps);
            Window<T> window(src, srcStep, columns, xAxis);
            for (int y = dstROI.y + firstRow; y < dstROI.y + endRow; ++y) {
                T* out = rowOf(dst, dstStep, y) + dstROI.x + x;
                const SourcePosition position = yAxis.at(y);
                const Taps rows = tapsAt(yAxis, position, position.fraction == 0 ? 1 : taps);
                if (columns.taps == 1 && position.fraction == 0)
                    copyColumns(rowOf(src, srcStep, rows.index[0]), columns, xAxis, out);
                else
                    sumRows(window, rows, position.fraction == 0 ? 1 : taps, out, columns.count);
            }
        }
    });
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
