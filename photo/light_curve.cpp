#include "photo/light_curve.h"

#include <algorithm>
#include <cmath>

namespace kestrova::photo {

EngineLight engineLight(const Light& light) {
    constexpr float kRootShift = 0.09f, kEngineShift = 0.343f, kLift = 0.6f, kSpread = 0.7f;
    constexpr float kEndPerUnit = 0.2f;
    constexpr float kLowest = -0.7f, kHighest = 1.45f;  // beyond, the spline turns back

    const float shift = kRootShift * light.brightness;
    // Where the shift takes black and white. Below 0 it takes 2 of 255 to black, too.
    const float black = shift > 0 ? shift * shift : 0;
    const float white = (1 + shift) * (1 + shift);

    const auto softer = [](float v, float above, float below) { return v > 0 ? above * v : below * v; };
    EngineLight out;
    out.brightness = std::cbrt(shift / kEngineShift);
    out.shadows = softer(light.shadows, 1.0f, 0.7f) + kLift * light.brightness - kSpread * light.contrast;
    out.highlights = softer(light.highlights, 1.0f, 0.7f) + kLift * light.brightness + kSpread * light.contrast;
    out.shadows = std::clamp(out.shadows, kLowest, kHighest);
    out.highlights = std::clamp(out.highlights, -kHighest, -kLowest);
    out.whites = (1 - white) / kEndPerUnit + softer(light.whites, 1.0f, 0.5f);
    out.blacks = -black / kEndPerUnit + softer(light.blacks, 0.3f, 0.6f);
    return out;
}

}  // namespace kestrova::photo
