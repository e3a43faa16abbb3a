#pragma once

#include <algorithm>

#include "kestrova/frame/kernel.h"

// Look-ups in tables. Internal.

namespace kestrova::rows {

/// dst[x] = table[index(src[x])]; in place if the elements are of one size. Several pixels at a time, as many as were
/// fastest: the speed of a loop over single ones changes with its alignment, by a factor of two. Not inlined: among the
/// variables of a driver's loop the compiler keeps pixels on the stack, which took 7 % more.
template <class From, class To, class Index>
KESTROVA_OUT_OF_LINE void lookUpRow(const From* src, To* dst, int n, const To* table, const Index& index) noexcept {
    constexpr int kAtOnce = sizeof(To) > sizeof(From) ? 8 : 4;
    int x = 0;
    for (; x + kAtOnce <= n; x += kAtOnce) {
        To found[kAtOnce];
        for (int i = 0; i < kAtOnce; ++i) found[i] = table[index(src[x + i])];
        std::copy_n(found, kAtOnce, dst + x);
    }
    for (; x < n; ++x) dst[x] = table[index(src[x])];
}

/// dst[x] = table[src[x]]: the table has an entry for every value of `From`.
template <class From, class To>
void lookUpRow(const From* src, To* dst, int n, const To* table) noexcept {
    lookUpRow(src, dst, n, table, [](From value) noexcept { return value; });
}

}  // namespace kestrova::rows
