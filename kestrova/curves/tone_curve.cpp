#include "kestrova/curves/tone_curve.h"

#include "kestrova/curves/tspline.h"

namespace kestrova::curves {

void sampleToneCurve(const TSpline& spline, float* curve) {
    constexpr float kPer63 = 0x1.041042p-6f;
    const float first = spline.ctrPx(0), last = spline.ctrPx(4);
    for (int i = 0; i < kToneNodes; ++i) {
        const float t = static_cast<float>(i) * kPer63;
        curve[i] = t < first ? 0.0f : t > last ? 1.0f : std::clamp(spline.value(t), 0.0f, 1.0f);
    }
}

}  // namespace kestrova::curves
