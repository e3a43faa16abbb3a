#pragma once

#include "kestrova/frame/saturate.h"
#include "kestrova/image/ydrdb.h"

// The colour space Y, C, M of `TImage` for colours on the scale 0..1: its differences are bytes about 128. Internal.
namespace kestrova::image::ycm {

/// The byte of red or blue over a luminance.
inline unsigned char toDifference(float colour, float luminance) {
    constexpr float kScale = 0x1.00ccccp+7f;  // 128.4
    return frame::sat8((colour - luminance) * kScale + 128.0f);
}

/// Red or blue of such a byte.
inline float fromDifference(unsigned char difference, float luminance) {
    return (static_cast<float>(difference) - 128.0f) * 0x1p-7f + luminance;
}

/// The colour of a luminance and two such bytes.
inline void toRGB(float y, unsigned char u, unsigned char v, float& r, float& g, float& b) {
    r = fromDifference(u, y);
    b = fromDifference(v, y);
    g = (y - r * ydrdb::kRed - b * ydrdb::kBlue) * ydrdb::kGreenBackFloatExact;
}

}  // namespace kestrova::image::ycm
