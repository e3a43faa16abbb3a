#pragma once

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>

// What the sums under a box become: its means. Internal.

namespace kestrova::rows {

/// Column sums of floats begin anew, from the top of the window down, at the first of every so many rows of the region.
inline int boxBlockRows(int maskHeight) {
    return maskHeight == 1 ? 1 : std::max(maskHeight > INT_MAX / 2 ? INT_MAX : 2 * maskHeight, 64);
}

/// The cells of a box.
inline std::uint64_t boxArea(int maskWidth, int maskHeight) {
    return static_cast<std::uint64_t>(maskWidth) * static_cast<std::uint64_t>(maskHeight);
}

/// floor((sum + area / 2) / area) as a product with ceil(2^shift / area), which is exact for sums below 2^31
/// (T. Granlund and P. L. Montgomery, "Division by Invariant Integers using Multiplication", 1994).
template <class Element>
struct MeanOfWords {
    std::uint32_t half, multiplier;
    int shift = 31;

    explicit MeanOfWords(std::uint64_t area) : half(static_cast<std::uint32_t>(area / 2)) {
        while (std::uint64_t{1} << (shift - 31) < area) ++shift;
        multiplier = static_cast<std::uint32_t>(((std::uint64_t{1} << shift) + area - 1) / area);
    }
    Element operator()(std::uint32_t sum) const {
        return static_cast<Element>(static_cast<std::uint64_t>(sum + half) * multiplier >> shift);
    }
};

/// The same for larger sums: (n + 1/2) / area is at least 2^-33 away from a whole number, as there are at most 2^32
/// cells, and is rounded by less than 2^-35, being below 2^16.
template <class Element>
struct MeanOfLargeWords {
    double half, reciprocal;

    explicit MeanOfLargeWords(std::uint64_t area)
        : half(std::floor(static_cast<double>(area) / 2) + 0.5), reciprocal(1 / static_cast<double>(area)) {}
    template <class Sum>
    Element operator()(Sum sum) const {
        return static_cast<Element>(static_cast<int>((static_cast<double>(sum) + half) * reciprocal));
    }
};

/// The mean of floats summed in double.
struct MeanOfFloats {
    double reciprocal;

    explicit MeanOfFloats(std::uint64_t area) : reciprocal(1 / static_cast<double>(area)) {}
    float operator()(double sum) const { return static_cast<float>(sum * reciprocal); }
};

}  // namespace kestrova::rows
