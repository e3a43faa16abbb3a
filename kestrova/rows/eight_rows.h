#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "kestrova/frame/kernel.h"
#include "kestrova/rows/box_columns.h"
#include "kestrova/rows/box_span.h"

// Box sums of floats, eight rows at a time. Sums down slide from row to row, eight columns side by side; turned, the
// eight rows of a column lie side by side, and sums across run from column to column: all in vectors. Internal.

namespace kestrova::rows {

constexpr int kRowsAtOnce = 8;

namespace eight_rows {

typedef double Eight __attribute__((vector_size(64), aligned(8), may_alias));
typedef float EightFloats __attribute__((vector_size(32), aligned(4), may_alias));
/// Element by element: GCC 12 makes one instruction of it, and of `__builtin_convertvector` two and a shuffle.
[[gnu::always_inline]] inline void widen(const EightFloats& v, Eight& wide) {
    wide = Eight{static_cast<double>(v[0]), static_cast<double>(v[1]), static_cast<double>(v[2]),
                 static_cast<double>(v[3]), static_cast<double>(v[4]), static_cast<double>(v[5]),
                 static_cast<double>(v[6]), static_cast<double>(v[7])};
}

/// Rows of values, or of products of two planes.
template <int kRows>
struct RowsOfValues {
    const float* rows[kRows];

    void set(int k, ValueRow row) { rows[k] = row.values; }
    float operator()(int k, int x) const { return rows[k][x]; }
    [[gnu::always_inline]] void load(int k, int x, EightFloats& narrow) const {
        std::memcpy(&narrow, rows[k] + x, sizeof narrow);
    }
};
template <int kRows>
struct RowsOfProducts {
    RowsOfValues<kRows> values, factors;

    void set(int k, ProductRow row) {
        values.rows[k] = row.values;
        factors.rows[k] = row.factors;
    }
    float operator()(int k, int x) const { return values(k, x) * factors(k, x); }
    [[gnu::always_inline]] void load(int k, int x, EightFloats& narrow) const {
        EightFloats factor;
        values.load(k, x, narrow);
        factors.load(k, x, factor);
        narrow *= factor;
    }
};
using Values = RowsOfValues<kRowsAtOnce>;
using Products = RowsOfProducts<kRowsAtOnce>;
template <class Rows>
[[gnu::always_inline]] inline void load(const Rows& rows, int k, int x, Eight& wide) {
    EightFloats narrow;
    rows.load(k, x, narrow);
    widen(narrow, wide);
}

/// to[j][i] = rows[i][j]
template <class Vector, class To>
[[gnu::always_inline]] inline void turnEight(const Vector* rows, const To& to) {
    Vector pairs[8], fours[8];
#pragma GCC unroll 4
    for (int i = 0; i < 8; i += 2) {
        pairs[i] = __builtin_shufflevector(rows[i], rows[i + 1], 0, 8, 2, 10, 4, 12, 6, 14);
        pairs[i + 1] = __builtin_shufflevector(rows[i], rows[i + 1], 1, 9, 3, 11, 5, 13, 7, 15);
    }
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i) {
        const int from = i / 2 * 4 + i % 2;
        fours[from] = __builtin_shufflevector(pairs[from], pairs[from + 2], 0, 1, 8, 9, 4, 5, 12, 13);
        fours[from + 2] = __builtin_shufflevector(pairs[from], pairs[from + 2], 2, 3, 10, 11, 6, 7, 14, 15);
    }
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i) {
        to(i, __builtin_shufflevector(fours[i], fours[i + 4], 0, 1, 2, 3, 8, 9, 10, 11));
        to(i + 4, __builtin_shufflevector(fours[i], fours[i + 4], 4, 5, 6, 7, 12, 13, 14, 15));
    }
}

/// Adds eight rows to sums of columns.
template <class Rows>
KESTROVA_KERNEL void add(double* sums, const Rows& rowsToAdd, int n) noexcept {
    const Rows rows = rowsToAdd;
    int x = 0;
    for (; x + 8 <= n; x += 8) {
        Eight sum, in;
        std::memcpy(&sum, sums + x, sizeof sum);
        for (int k = 0; k < kRowsAtOnce; ++k) {
            load(rows, k, x, in);
            sum += in;
        }
        std::memcpy(sums + x, &sum, sizeof sum);
    }
    for (; x < n; ++x)
        for (int k = 0; k < kRowsAtOnce; ++k) sums[x] += static_cast<double>(rows(k, x));
}

/// Slides sums of columns by eight rows. If `kTurned`, turned[8 x + k] becomes the sum of column x at row k.
template <bool kTurned, class Rows>
KESTROVA_KERNEL void slide(double* sums, const Rows& enteringRows, const Rows& leavingRows, double* turned, int first,
                           int end) noexcept {
    const Rows entering = enteringRows, leaving = leavingRows;
    int x = first;
    for (; x + 8 <= end; x += 8) {
        Eight sum, in, out, rows[kRowsAtOnce];
        std::memcpy(&sum, sums + x, sizeof sum);
#pragma GCC unroll 8
        for (int k = 0; k < kRowsAtOnce; ++k) {
            load(entering, k, x, in);
            load(leaving, k, x, out);
            sum += in - out;
            rows[k] = sum;
        }
        std::memcpy(sums + x, &sum, sizeof sum);
        if (!kTurned) continue;
        double* const columns = turned + kRowsAtOnce * static_cast<std::ptrdiff_t>(x);
        turnEight(rows,
                  [=](int i, const Eight& column) { std::memcpy(columns + kRowsAtOnce * i, &column, sizeof column); });
    }
    for (; x < end; ++x) {
        for (int k = 0; k < kRowsAtOnce; ++k) {
            sums[x] += static_cast<double>(entering(k, x)) - static_cast<double>(leaving(k, x));
            if (kTurned) turned[kRowsAtOnce * static_cast<std::ptrdiff_t>(x) + k] = sums[x];
        }
    }
}

/// From turned columns, for each of n: the sum of `count` of them from there on, times `factor`. The first is number
/// `first` of its row.
///
/// Columns are grouped by `count`: a sum is of the rest of a group and of the beginning of the next one, two running
/// sums from either side of the line between them (M. van Herk, "A Fast Algorithm for Local Minimum and Maximum Filters
/// on Rectangular and Octagonal Kernels", 1992). Nothing is taken away again, and a sum depends on its own columns
/// alone, and on its place.
///
/// The sums of the rests of a group take the place of the columns of the one before, those of the next group while this
/// one is done: before the first column there is room for `count` more. If `more`, the next call goes on where this one
/// ends, at the end of a group, with `begun` set.
KESTROVA_KERNEL inline void sumAcross(double* turned, std::ptrdiff_t first, std::ptrdiff_t n, std::ptrdiff_t count,
                                      double factor, bool begun, bool more, float* out) noexcept {
    auto* const columns = reinterpret_cast<Eight*>(turned);
    auto* const rests = columns - count;
    auto* const means = reinterpret_cast<EightFloats*>(out);
    std::ptrdiff_t i = 0, group = count - first % count;
    Eight rest = {}, beginning = {};
    if (!begun) {
        for (std::ptrdiff_t k = group - 1; k >= 0; --k) rests[k] = rest += columns[k];
        for (std::ptrdiff_t k = group; k < count; ++k) beginning += columns[k];
    }
    for (; i < n; group += count) {
        const bool last = group >= n && !more;
        const std::ptrdiff_t end = last ? n : group;
        std::ptrdiff_t k = last ? group : group + count;
        rest = Eight{};
        for (; i < end; ++i) {
            means[i] = __builtin_convertvector((rests[i] + beginning) * factor, EightFloats);
            beginning += columns[i + count];
            if (last) continue;
            --k;
            rests[k] = rest += columns[k];
        }
        for (; k > group; --k) rests[k - 1] = rest += columns[k - 1];
        beginning = Eight{};
    }
}

KESTROVA_KERNEL inline void widen(const float* __restrict values, double* __restrict wide, std::ptrdiff_t n) noexcept {
    for (std::ptrdiff_t i = 0; i < n; ++i) wide[i] = static_cast<double>(values[i]);
}

/// rows[k][x] = turned[8 x + k]
KESTROVA_KERNEL inline void turnBack(const float* turned, float* const* out, int n) noexcept {
    float* rows[kRowsAtOnce];
    for (int k = 0; k < kRowsAtOnce; ++k) rows[k] = out[k];
    int x = 0;
    for (; x + 8 <= n; x += 8) {
        EightFloats columns[8];
        std::memcpy(columns, turned + kRowsAtOnce * static_cast<std::ptrdiff_t>(x), sizeof columns);
        turnEight(columns, [&](int k, const EightFloats& row) { std::memcpy(rows[k] + x, &row, sizeof row); });
    }
    for (; x < n; ++x)
        for (int k = 0; k < kRowsAtOnce; ++k) rows[k][x] = turned[8 * static_cast<std::ptrdiff_t>(x) + k];
}

/// Slides sums of columns by eight rows of values and writes them times `factor`.
KESTROVA_KERNEL inline void slideAndScale(double* sums, const Values& enteringRows, const Values& leavingRows,
                                          float* const* out, int n, double factor) noexcept {
    const Values entering = enteringRows, leaving = leavingRows;
    float* rows[kRowsAtOnce];
    for (int k = 0; k < kRowsAtOnce; ++k) rows[k] = out[k];
    int x = 0;
    for (; x + 8 <= n; x += 8) {
        Eight sum, in, gone;
        std::memcpy(&sum, sums + x, sizeof sum);
#pragma GCC unroll 8
        for (int k = 0; k < kRowsAtOnce; ++k) {
            load(entering, k, x, in);
            load(leaving, k, x, gone);
            sum += in - gone;
            const EightFloats mean = __builtin_convertvector(sum * factor, EightFloats);
            std::memcpy(rows[k] + x, &mean, sizeof mean);
        }
        std::memcpy(sums + x, &sum, sizeof sum);
    }
    for (; x < n; ++x) {
        for (int k = 0; k < kRowsAtOnce; ++k) {
            sums[x] += static_cast<double>(entering(k, x)) - static_cast<double>(leaving(k, x));
            rows[k][x] = static_cast<float>(sums[x] * factor);
        }
    }
}

}  // namespace eight_rows

/// Up to eight windows of `height` rows, one below the other, and the sums of the columns under them: `rowAt(i)` is row
/// i under the first of them, a `ValueRow` or a `ProductRow`, and `rowAt(-1)` the one above it.
template <class RowAt>
class EightWindows {
    using Row = std::invoke_result_t<RowAt, int>;
    using Rows = std::conditional_t<std::is_same_v<Row, ValueRow>, eight_rows::Values, eight_rows::Products>;

public:
    /// The sums are those of the window above the first one, or of any if `anew`.
    EightWindows(FloatColumns& columns, int n, const RowAt& rowAt, int height, int rows, bool anew)
        : m_columns(columns), m_n(n), m_rowAt(rowAt), m_height(height), m_rows(rows), m_first(anew ? 1 : 0) {
        if (anew) begin();
        for (int k = 0; k < kRowsAtOnce; ++k) {
            const bool slides = k >= m_first && k < rows;
            m_entering.set(k, rowAt(slides ? k + height - 1 : 0));
            m_leaving.set(k, rowAt(slides ? k - 1 : 0));
        }
    }

    const Rows& entering() const { return m_entering; }
    const Rows& leaving() const { return m_leaving; }

    /// Slides row by row and calls `atRow(k)` when the sums are those of window k.
    template <class AtRow>
    void slideByRow(const AtRow& atRow) {
        for (int k = 0; k < m_rows; ++k) {
            if (k >= m_first) m_columns.moveTo([&](int i) { return m_rowAt(k + i); }, m_height, false);
            atRow(k);
        }
    }

private:
    void begin() {
        double* const sums = m_columns.cleared();
        int i = 0;
        for (; i + kRowsAtOnce <= m_height; i += kRowsAtOnce) {
            Rows rows;
            for (int k = 0; k < kRowsAtOnce; ++k) rows.set(k, m_rowAt(i + k));
            eight_rows::add(sums, rows, m_n);
        }
        for (; i < m_height; ++i) box_columns::add(sums, m_rowAt(i), m_n);
        m_columns.mend(m_rowAt, m_height);
    }

    FloatColumns& m_columns;
    int m_n;
    const RowAt& m_rowAt;
    int m_height, m_rows, m_first;
    Rows m_entering, m_leaving;
};

/// The room that `turnedMeansAcross` needs, in doubles.
inline std::size_t turnedRoom(int means, int width) {
    return kRowsAtOnce * (static_cast<std::size_t>(means) + 2 * static_cast<std::size_t>(width) + kRowsAtOnce);
}
/// The first column in it.
inline double* turnedColumns(const Scratch<double>& turned, int width) {
    return turned.row(0) + kRowsAtOnce * static_cast<std::ptrdiff_t>(width);
}

/// Means across of turned columns: out[8 x + k] of `width` columns from x on, of `span` and the columns next to it that
/// repeat its ends. `make(first, end)` makes the columns [first, end) of the span when they are needed, from
/// turned + 8 `span.before` on. `turned` are `turnedColumns`, which are overwritten. The first mean is number `first`
/// of its row.
template <class Make>
void turnedMeansAcross(const BoxSpan& span, int first, int n, int width, double factor, double* turned,
                       const Make& make, float* out) noexcept {
    constexpr int kStretch = 128;  // so many columns stay in the first-level cache
    const auto at = [=](int x) { return turned + kRowsAtOnce * static_cast<std::ptrdiff_t>(x); };
    const auto repeat = [=](int x, int to) { std::copy_n(at(span.before + x), kRowsAtOnce, at(span.before + to)); };
    const int columns = span.count();
    for (int x = 0, made = 0; x < n;) {
        const int groupEnd = (first + x + kStretch - 1) / width * width + width - first, end = std::min(n, groupEnd);
        const int needed = std::max(end + width - span.before, 1), upTo = std::min(columns, (needed + 7) / 8 * 8);
        if (upTo > made) {
            make(made, upTo);
            if (made == 0)
                for (int i = 1; i <= span.before; ++i) repeat(0, -i);
            made = upTo;
            if (made == columns)
                for (int i = 0; i < span.behind; ++i) repeat(columns - 1, columns + i);
        }
        eight_rows::sumAcross(at(x), first + x, end - x, width, factor, x > 0, end < n, out + (at(x) - turned));
        x = end;
    }
}

}  // namespace kestrova::rows
