#pragma once

// Look-ups in tables. Internal.

namespace kestrova::rows {

/// dst[x] = table[index(src[x])]; in place if the elements are of one size. Four pixels at a time: the speed of a loop
/// over single ones changes with its alignment, by a factor of two.
template <class From, class To, class Index>
void lookUpRow(const From* src, To* dst, int n, const To* table, const Index& index) noexcept {
    int x = 0;
    for (; x + 4 <= n; x += 4) {
        const To a = table[index(src[x])], b = table[index(src[x + 1])];
        const To c = table[index(src[x + 2])], d = table[index(src[x + 3])];
        dst[x] = a, dst[x + 1] = b, dst[x + 2] = c, dst[x + 3] = d;
    }
    for (; x < n; ++x) dst[x] = table[index(src[x])];
}

/// dst[x] = table[src[x]]: the table has an entry for every value of `From`.
template <class From, class To>
void lookUpRow(const From* src, To* dst, int n, const To* table) noexcept {
    lookUpRow(src, dst, n, table, [](From value) noexcept { return value; });
}

}  // namespace kestrova::rows
