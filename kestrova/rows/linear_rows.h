#pragma once

#include <cstddef>

// Linear enlarging along a row by a factor that is known at compile time. The linear resize (resize_kernels.h) keeps
// kernels of its own: its factors and phases are known at run time only. Internal.

namespace kestrova::rows {

/// Where the `factor` new pixels between two old ones lie, as parts of the way from one to the other.
enum class LinearGrid {
    kAligned,  ///< pixel k at k / factor: the first is the old one
    kCentred,  ///< pixel k at (2k + 1) / (2 factor): the new pixels cover the area of the old ones
};

constexpr int log2Of(int powerOfTwo) { return powerOfTwo > 1 ? 1 + log2Of(powerOfTwo / 2) : 0; }

/// Writes the `factor` new pixels between old pixel x and the next from `out[factor * x]` on, for x in [0, gaps). Old
/// pixel x is `sum(x)` in units of 2^-sumBits, such as a weighted sum of rows. Rounds to nearest, halves up.
template <int factor, LinearGrid grid, class Sum, class Pixel>
inline void enlargeLinearly(const Sum& sum, int sumBits, int gaps, Pixel* __restrict out) noexcept {
    constexpr bool centred = grid == LinearGrid::kCentred;
    constexpr int kUnit = centred ? 2 * factor : factor;
    static_assert(kUnit == 1 << log2Of(kUnit), "weights are multiples of a power of two");
    const int bits = log2Of(kUnit) + sumBits, half = 1 << bits >> 1;
    for (std::ptrdiff_t x = 0; x < gaps; ++x) {
        const int here = sum(x), next = sum(x + 1);
        for (int k = 0; k < factor; ++k) {
            const int part = centred ? 2 * k + 1 : k;
            out[factor * x + k] = static_cast<Pixel>((here * (kUnit - part) + next * part + half) >> bits);
        }
    }
}

}  // namespace kestrova::rows
