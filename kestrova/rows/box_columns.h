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

/// A row of what is summed: the values of a plane, or the products of two planes.
struct ValueRow {
    const float* values;

    float operator[](int x) const { return values[x]; }
};
struct ProductRow {
    const float *values, *factors;

    float operator[](int x) const { return values[x] * factors[x]; }
};

namespace box_columns {

constexpr float kLargest = std::numeric_limits<float>::max();

template <class Sum, class Row>
KESTROVA_KERNEL void add(Sum* __restrict sums, Row row, int n) noexcept {
    for (int x = 0; x < n; ++x) sums[x] += static_cast<Sum>(row[x]);
}

template <class Sum, class Element>
KESTROVA_KERNEL void slide(Sum* __restrict sums, const Element* entering, const Element* leaving, int n) noexcept {
    for (int x = 0; x < n; ++x) sums[x] += static_cast<Sum>(entering[x]) - static_cast<Sum>(leaving[x]);
}

/// True if a value that enters is not finite: its sum is spoilt.
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

/// The values of a plane that enter a window's columns and those that leave them, and the sums of it or of its products
/// with another plane.
struct SlidingColumns {
    double* sums;
    const float *entering, *leaving;
};

/// Slides the sums of a plane and of its products with `factors`, or adds alone where nothing leaves. True if a value
/// or a product that enters is not finite.
template <bool kLeaving, class... Factors>
KESTROVA_KERNEL bool slideMoments(SlidingColumns plane, int n, Factors... factors) noexcept {
    int spoilt = 0;
    const auto slideOne = [&spoilt](double& sum, float in, float out) {
        spoilt |= !(std::abs(in) <= kLargest);
        sum += static_cast<double>(in) - static_cast<double>(out);
    };
    KESTROVA_INDEPENDENT
    for (int x = 0; x < n; ++x) {
        const float in = plane.entering[x], out = kLeaving ? plane.leaving[x] : 0.0f;
        slideOne(plane.sums[x], in, out);
        (slideOne(factors.sums[x], in * factors.entering[x], kLeaving ? out * factors.leaving[x] : 0.0f), ...);
    }
    return spoilt != 0;
}

/// Slides sums of values and writes what `finish` makes of them.
template <class Finish>
KESTROVA_KERNEL bool slideAndFinish(SlidingColumns plane, float* __restrict out, int n, Finish finish) noexcept {
    int spoilt = 0;
    KESTROVA_INDEPENDENT
    for (int x = 0; x < n; ++x) {
        const float in = plane.entering[x];
        spoilt |= !(std::abs(in) <= kLargest);
        const double sum = plane.sums[x] + (static_cast<double>(in) - static_cast<double>(plane.leaving[x]));
        plane.sums[x] = sum;
        out[x] = finish(sum);
    }
    return spoilt != 0;
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

/// Column sums of floats in double, `n` columns wide, with room for `margins` sums more on both sides together.
class FloatColumns {
public:
    explicit FloatColumns(int n, int margins = 0)
        : m_n(n),
          m_sums(2, static_cast<std::size_t>(n) + static_cast<std::size_t>(margins)),
          m_counts(2, static_cast<std::size_t>(n)) {}

    /// Takes up other columns, no more than there were at first, with `before` sums before them. They begin anew.
    void span(int n, int before = 0) noexcept {
        m_n = n;
        m_before = before;
    }

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

    /// The first sum; the margins lie before it and behind the last one.
    double* sums() const { return m_sums.row(m_notFinite > 0 ? 1 : 0) + m_before; }

    /// Whether all values under the windows are finite: then `sums` may be moved from outside. Where one that enters is
    /// not, `mend` has to follow, with the rows as `moveTo` takes them.
    bool finite() const { return m_notFinite == 0; }
    template <class RowAt>
    void mend(const RowAt& rowAt, int height) noexcept {
        if (!box_columns::allFinite(plain(), m_n)) begin(rowAt, height);
        if (m_notFinite > 0) box_columns::markColumns(plain(), ups(), downs(), sums(), m_n);
    }
    /// Sums of finite values, all 0, to be moved from outside.
    double* cleared() noexcept {
        m_notFinite = 0;
        std::fill_n(plain(), m_n, 0.0);
        return plain();
    }

private:
    double* plain() const { return m_sums.row(0) + m_before; }
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

    int m_n, m_before = 0;
    long long m_notFinite = 0;  ///< `ups` and `downs` of all columns
    Scratch<double> m_sums;     ///< with values that are not finite as 0, and, while there are any, marked
    Scratch<int> m_counts;
};

}  // namespace kestrova::rows
