#include "photo/light_curve.h"

#include <algorithm>
#include <cmath>

namespace kestrova::photo {

EngineLight engineLight(const Light& light) {
    constexpr float kPivot = 0.707f, kEngineShift = 0.343f, kLift = 0.6f, kSpread = 0.7f;
    constexpr float kEndPerUnit = 0.2f;
    constexpr float kLowest = -0.7f, kHighest = 1.45f, kMostWhites = 1.75f;  // beyond, the spline turns back

    const float b = light.brightness;
    const float shift = b > 0 ? 0.124f * b : 0.12f * b;
    const float squeeze = b > 0 ? 1 - 0.1f * b : 1 + 0.17f * b;
    const auto squared = [](float root) { return root * std::abs(root); };
    // A little more than where black gets: the engine smooths its table, which lifts black where shadows rise steeply.
    const float black = std::max(0.0f, squared(kPivot * (1 - squeeze) + shift) + 0.008f * b);
    const float white = squared(kPivot + (1 - kPivot) * squeeze + shift);

    const auto softer = [](float v, float above, float below) { return v > 0 ? above * v : below * v; };
    EngineLight out;
    out.brightness = std::cbrt(shift / kEngineShift);
    out.contrast = -std::cbrt((1 / squeeze - 1) / 5);
    out.shadows = softer(light.shadows, 1.0f, 0.7f) + kLift * light.brightness - kSpread * light.contrast;
    out.highlights = softer(light.highlights, 1.0f, 0.7f) + kLift * light.brightness + kSpread * light.contrast;
    out.shadows = std::clamp(out.shadows, kLowest, kHighest);
    out.highlights = std::clamp(out.highlights, -kHighest, -kLowest);
    out.whites = std::min(kMostWhites, (1 - white) / kEndPerUnit + softer(light.whites, 1.0f, 0.5f));
    out.blacks = -black / kEndPerUnit + softer(light.blacks, 0.3f, 0.6f);
    return out;
}

}  // namespace kestrova::photo
