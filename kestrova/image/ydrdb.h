#pragma once

// What the colour space Y, Dr, Db is made of. Internal.

namespace kestrova::image::ydrdb {

constexpr float kRed = 0x1.322d0ep-2f;    // 0.299
constexpr float kGreen = 0x1.2c8b44p-1f;  // 0.587
constexpr float kBlue = 0x1.d2f1aap-4f;   // 0.114

/// The way back to green, 1 / 0.587 as each operation rounds it.
constexpr double kGreenBack = 0x1.b41f212d77319p+0;     // 1.7036
constexpr float kGreenBackFloat = 0x1.b41f22p+0f;       // 1.7036
constexpr float kGreenBackFloatExact = 0x1.b41da8p+0f;  // 1.7035775

/// Y, summed in this order.
inline float luminance(float r, float g, float b) { return r * kRed + g * kGreen + b * kBlue; }

}  // namespace kestrova::image::ydrdb
