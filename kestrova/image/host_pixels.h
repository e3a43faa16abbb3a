#pragma once

#include <climits>
#include <cstdlib>

// What the operations ask of pixels that a host hands over. Internal.

namespace kestrova::image {

/// True if the number of pixels, taken as a 32-bit number, is below 1: from 2^31 pixels on the number wraps.
inline bool noPixels(int width, int height) {
    return static_cast<int>(static_cast<unsigned>(width) * static_cast<unsigned>(height)) < 1;
}

/// True if rows of `length`, `step` apart in the same unit, do not overlap, and offsets within a row fit in 32 bits. A
/// negative step is one of rows from the bottom to the top; that of a single row is never taken.
inline bool rowsApart(int rows, int step, long long length) {
    return length <= (rows == 1 ? INT_MAX : std::abs(1LL * step));
}

}  // namespace kestrova::image
