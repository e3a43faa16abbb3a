#pragma once

#include <cstddef>
#include <cstring>

#include "kestrova/frame/kernel.h"
#include "kestrova/rows/eight_rows.h"

// Sums of floats under windows so narrow that each is added anew, in double: down the columns, then across. There is
// nothing to slide or to begin anew, and no row is turned. Pairs of neighbours are added first, from the first one on,
// then the pairs, and the one that is left. Internal.

namespace kestrova::rows {

/// The most pixels a side of such windows: sliding takes less time from 9 on.
constexpr int kNarrowSide = 7;

namespace narrow_box {

using eight_rows::Eight;
using eight_rows::EightFloats;

/// What lies under eight windows, one below the other.
using Values = eight_rows::RowsOfValues<kRowsAtOnce + kNarrowSide - 1>;
using Products = eight_rows::RowsOfProducts<kRowsAtOnce + kNarrowSide - 1>;

using eight_rows::load;
template <class Rows>
[[gnu::always_inline]] inline void load(const Rows& rows, int k, int x, double& wide) {
    wide = static_cast<double>(rows(k, x));
}
[[gnu::always_inline]] inline void load(const double* at, Eight& values) { std::memcpy(&values, at, sizeof values); }
[[gnu::always_inline]] inline void load(const float* at, Eight& values) {
    EightFloats narrow;
    std::memcpy(&narrow, at, sizeof narrow);
    eight_rows::widen(narrow, values);
}

[[gnu::always_inline]] inline void store(double value, double* to) { *to = value; }
[[gnu::always_inline]] inline void store(double value, float* to) { *to = static_cast<float>(value); }
[[gnu::always_inline]] inline void store(const Eight& values, double* to) { std::memcpy(to, &values, sizeof values); }
[[gnu::always_inline]] inline void store(const Eight& values, float* to) {
    const auto narrow = __builtin_convertvector(values, EightFloats);
    std::memcpy(to, &narrow, sizeof narrow);
}

/// Calls `use(k, sum)` with the sum of `kSide` rows from row k on, for k from 0 to 7: of column x, or of eight of them.
template <int kSide, class Wide, class Rows, class Use>
[[gnu::always_inline]] inline void sumsOfRows(const Rows& rows, int x, const Use& use) {
    constexpr int kRows = kRowsAtOnce + kSide - 1;
    Wide values[kRows], pairs[kRows];
#pragma GCC unroll 16
    for (int i = 0; i < kRows; ++i) load(rows, i, x, values[i]);
#pragma GCC unroll 16
    for (int i = 0; i + 1 < kRows; ++i) pairs[i] = values[i] + values[i + 1];
#pragma GCC unroll 8
    for (int k = 0; k < kRowsAtOnce; ++k) {
        Wide sum = kSide > 1 ? pairs[k] : values[k];
#pragma GCC unroll 4
        for (int i = 2; i + 1 < kSide; i += 2) sum += pairs[k + i];
        if (kSide > 1) sum += values[k + kSide - 1];
        use(k, sum);
    }
}

/// `sumsOfRows` for n columns, eight at a time; `use(x, k, sum)`. Where eights do not cover them, some of the last
/// columns are done twice.
template <int kSide, class Rows, class Use>
[[gnu::always_inline]] inline void eachSumOfRows(const Rows& rows, int n, const Use& use) {
    int x = 0;
    const auto useHere = [&](int k, const auto& sum) { use(x, k, sum); };
    if (n < 8) {
        for (; x < n; ++x) sumsOfRows<kSide, double>(rows, x, useHere);
        return;
    }
    for (; x + 8 <= n; x += 8) sumsOfRows<kSide, Eight>(rows, x, useHere);
    if (x == n) return;
    x = n - 8;
    sumsOfRows<kSide, Eight>(rows, x, useHere);
}

/// sums[k stride + x] = rows(k, x) + ... + rows(k + kSide - 1, x)
template <int kSide, class Rows>
KESTROVA_KERNEL void sumDown(const Rows& rowsToAdd, double* sums, std::ptrdiff_t stride, int n) noexcept {
    const Rows rows = rowsToAdd;
    eachSumOfRows<kSide>(rows, n, [=](int x, int k, const auto& sum) { store(sum, sums + k * stride + x); });
}

/// out[k][x] = (rows(k, x) + ... + rows(k + kSide - 1, x)) factor
template <int kSide>
KESTROVA_KERNEL void meansDown(const Values& rowsToAdd, double factor, float* const* out, int n) noexcept {
    const Values rows = rowsToAdd;
    float* means[kRowsAtOnce];
    for (int k = 0; k < kRowsAtOnce; ++k) means[k] = out[k];
    eachSumOfRows<kSide>(rows, n, [&](int x, int k, const auto& sum) { store(sum * factor, means[k] + x); });
}

/// From the `kShift`-th on of both together.
template <int kShift>
[[gnu::always_inline]] inline void shift(const Eight& left, const Eight& right, Eight& both) {
    constexpr int k = kShift;
    both = __builtin_shufflevector(left, right, k, k + 1, k + 2, k + 3, k + 4, k + 5, k + 6, k + 7);
}

/// Adds the pairs `kShift` columns further right, and those behind them.
template <int kSide, int kShift = 2>
[[gnu::always_inline]] inline void addPairs(const Eight& pairs, const Eight& nextPairs, Eight& sum) {
    if constexpr (kShift + 1 < kSide) {
        Eight further;
        shift<kShift>(pairs, nextPairs, further);
        sum += further;
        addPairs<kSide, kShift + 2>(pairs, nextPairs, sum);
    }
}

/// How far beyond n columns `meansAcross` reads; it writes less than 8 means more.
constexpr int kReadBeyond = 24;

/// out[k][x] = (columns[k stride + x] + ... + columns[k stride + x + kSide - 1]) factor, of `rows` rows
template <int kSide, class Column>
KESTROVA_KERNEL void meansAcross(const Column* columns, std::ptrdiff_t stride, double factor, float* const* out,
                                 int rows, int n) noexcept {
    for (int k = 0; k < rows; ++k, columns += stride) {
        float* const means = out[k];
        Eight values, next, behind, pairs, nextPairs, shifted;
        load(columns, values);
        load(columns + 8, next);
        shift<1>(values, next, shifted);
        pairs = values + shifted;
        for (int x = 0; x < n; x += 8) {
            load(columns + x + 16, behind);
            shift<1>(next, behind, shifted);
            nextPairs = next + shifted;
            Eight sum = values;
            if (kSide > 1) {
                sum = pairs;
                addPairs<kSide>(pairs, nextPairs, sum);
                shift<kSide - 1>(values, next, shifted);
                sum += shifted;
            }
            store(sum * factor, means + x);
            values = next;
            next = behind;
            pairs = nextPairs;
        }
    }
}

}  // namespace narrow_box

}  // namespace kestrova::rows
