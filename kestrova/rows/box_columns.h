#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "kestrova/frame/kernel.h"
#include "kestrova/rows/scratch.h"

// The sums of the columns under the windows of a row, which slide down a plane: the row that enters the windows is
// added, the one that leaves them taken away. Internal.
//
// Integers are summed exactly, modulo the width of a sum: neither order nor split matters. Floats are summed in double.
// Their sums begin anew at every `boxBlockRows`-th row of the region, so that the order does not depend on the split
// either. An error of rounding is at most 2^-53 of a column's sum of sizes, and a column collects fewer than
// 4 `boxBlockRows` of them before it begins anew.
//
// A float that is not finite counts as 0 in the sums and is counted apart while windows hold it, so that it costs the
// same under a window of any height. Where one enters windows that held none, the sums begin anew.

namespace kestrova::rows {

/// A row of values to be summed.
struct ValueRow {
    const float* values;

    float operator[](int x) const { return values[x]; }
};
/// The products of a row with that of another plane.
struct ProductRow {
    const float *values, *factors;

    float operator[](int x) const { return values[x] * factors[x]; }
};

namespace box_columns {

constexpr float kLargest = std::numeric_limits<float>::max();

/// Adds a row to the sums of its columns.
template <class Sum, class Row>
KESTROVA_KERNEL void add(Sum* __restrict sums, Row row, int n) noexcept {
    for (int x = 0; x < n; ++x) sums[x] += static_cast<Sum>(row[x]);
}

/// Slides the sums by a row.
template <class Sum, class Element>
KESTROVA_KERNEL void slide(Sum* __restrict sums, const Element* entering, const Element* leaving, int n) noexcept {
    for (int x = 0; x < n; ++x) sums[x] += static_cast<Sum>(entering[x]) - static_cast<Sum>(leaving[x]);
}

/// The same of floats. True if a value that enters is not finite: its sum is spoilt.
template <class Row>
KESTROVA_KERNEL bool slideFinite(double* __restrict sums, Row entering, Row leaving, int n) noexcept {
    int spoilt = 0;
    for (int x = 0; x < n; ++x) {
        const float in = entering[x], out = leaving[x];
        spoilt |= !(std::abs(in) <= kLargest);
        sums[x] += static_cast<double>(in) - static_cast<double>(out);
    }
    return spoilt != 0;
}

/// The sums times `factor`.
KESTROVA_KERNEL inline void scale(const double* sums, double factor, float* __restrict out, int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = static_cast<float>(sums[x] * factor);
}

/// `leaving` where nothing leaves.
struct NoRow {
    float operator[](int) const { return 0; }
};

/// Values that are not finite count as 0 in the sums. In each column of the window there are `ups` values that do not
/// lie below infinity, NaN among them, and `downs` that do not lie above minus infinity. Returns how many more there
/// are of both together.
template <class Entering, class Leaving>
KESTROVA_KERNEL long long slideCounting(double* __restrict sums, int* __restrict ups, int* __restrict downs,
                                        Entering entering, Leaving leaving, int n) noexcept {
    long long more = 0;
    for (int x = 0; x < n; ++x) {
        const float in = entering[x], out = leaving[x];
        const int up = !(in <= kLargest) - !(out <= kLargest), down = !(in >= -kLargest) - !(out >= -kLargest);
        ups[x] += up;
        downs[x] += down;
        more += up + down;
        sums[x] += static_cast<double>(std::abs(in) <= kLargest ? in : 0) -
                   static_cast<double>(std::abs(out) <= kLargest ? out : 0);
    }
    return more;
}

/// The sums as addition has them, not finite where a column holds a value that is not.
KESTROVA_KERNEL inline void markColumns(const double* __restrict sums, const int* __restrict ups,
                                        const int* __restrict downs, double* __restrict marked, int n) noexcept {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    for (int x = 0; x < n; ++x) marked[x] = (sums[x] + (ups[x] > 0 ? kInfinity : 0)) - (downs[x] > 0 ? kInfinity : 0);
}

KESTROVA_KERNEL inline bool allFinite(const double* sums, int n) noexcept {
    int spoilt = 0;
    for (int x = 0; x < n; ++x) spoilt |= !(std::abs(sums[x]) <= std::numeric_limits<double>::max());
    return spoilt == 0;
}

}  // namespace box_columns

/// Column sums of integers, `n` columns wide.
template <class Sum>
class IntegerColumns {
public:
    explicit IntegerColumns(int n) : m_n(n), m_sums(1, static_cast<std::size_t>(n)) {}

    /// Takes the sums to the next row, or to any row if `anew`. `rowAt(i)` is a pointer to row i of the `height` rows
    /// under its windows; `rowAt(-1)` is the row that leaves them.
    template <class RowAt>
    void moveTo(const RowAt& rowAt, int height, bool anew) noexcept {
        if (!anew) return box_columns::slide(m_sums.row(0), rowAt(height - 1), rowAt(-1), m_n);
        std::fill_n(m_sums.row(0), m_n, Sum());
        for (int i = 0; i < height; ++i) box_columns::add(m_sums.row(0), rowAt(i), m_n);
    }

    const Sum* sums() const { return m_sums.row(0); }

private:
    int m_n;
    Scratch<Sum> m_sums;
};

/// Column sums of floats in double, `n` columns wide.
class FloatColumns {
public:
    explicit FloatColumns(int n)
        : m_n(n), m_sums(2, static_cast<std::size_t>(n)), m_counts(2, static_cast<std::size_t>(n)) {}

    /// Takes up other columns, no more than there were at first. They begin anew.
    void span(int n) noexcept { m_n = n; }

    /// As `IntegerColumns::moveTo`; `rowAt` gives a `ValueRow` or a `ProductRow`.
    template <class RowAt>
    void moveTo(const RowAt& rowAt, int height, bool anew) noexcept {
        using namespace box_columns;
        if (anew) {
            begin(rowAt, height);
        } else if (m_notFinite == 0) {
            if (slideFinite(plain(), rowAt(height - 1), rowAt(-1), m_n)) begin(rowAt, height);
        } else {
            m_notFinite += slideCounting(plain(), ups(), downs(), rowAt(height - 1), rowAt(-1), m_n);
        }
        if (m_notFinite > 0) markColumns(plain(), ups(), downs(), sums(), m_n);
    }

    double* sums() const { return m_sums.row(m_notFinite > 0 ? 1 : 0); }

    /// Whether all values under the windows are finite.
    bool finite() const { return m_notFinite == 0; }
    /// Has to follow where sums of finite values have been moved from outside, with the rows as `moveTo` takes them,
    /// for values that may not be finite.
    template <class RowAt>
    void mend(const RowAt& rowAt, int height) noexcept {
        if (!box_columns::allFinite(plain(), m_n)) begin(rowAt, height);
        if (m_notFinite > 0) box_columns::markColumns(plain(), ups(), downs(), sums(), m_n);
    }
    /// Has `move` move `sums` if all values under the windows are finite. Where one that enters is not, the sums are
    /// what they were before. True if they are moved.
    template <class Move>
    bool moveFinite(const Move& move) noexcept {
        if (!finite()) return false;
        double* const before = m_sums.row(1);
        std::copy_n(plain(), m_n, before);
        move();
        if (box_columns::allFinite(plain(), m_n)) return true;
        std::copy_n(before, m_n, plain());
        return false;
    }
    /// Sums of finite values, all 0, to be moved from outside.
    double* cleared() noexcept {
        m_notFinite = 0;
        std::fill_n(plain(), m_n, 0.0);
        return plain();
    }

private:
    double* plain() const { return m_sums.row(0); }
    int* ups() const { return m_counts.row(0); }
    int* downs() const { return m_counts.row(1); }

    template <class RowAt>
    void begin(const RowAt& rowAt, int height) noexcept {
        using namespace box_columns;
        m_notFinite = 0;
        std::fill_n(plain(), m_n, 0.0);
        for (int i = 0; i < height; ++i) add(plain(), rowAt(i), m_n);
        if (allFinite(plain(), m_n)) return;
        std::fill_n(plain(), m_n, 0.0);
        std::fill_n(ups(), m_n, 0);
        std::fill_n(downs(), m_n, 0);
        for (int i = 0; i < height; ++i) m_notFinite += slideCounting(plain(), ups(), downs(), rowAt(i), NoRow{}, m_n);
    }

    int m_n;
    long long m_notFinite = 0;  ///< `ups` and `downs` of all columns
    Scratch<double> m_sums;     ///< with values that are not finite as 0, and, while there are any, marked
    Scratch<int> m_counts;
};

}  // namespace kestrova::rows
