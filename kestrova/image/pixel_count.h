#pragma once

namespace kestrova::image {

/// True if the number of pixels, taken as a 32-bit number, is below 1: from 2^31 pixels on the number wraps.
inline bool noPixels(int width, int height) {
    return static_cast<int>(static_cast<unsigned>(width) * static_cast<unsigned>(height)) < 1;
}

}  // namespace kestrova::image
