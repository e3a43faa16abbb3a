#include <algorithm>

#include "kestrova/curves/detail_curves.h"
#include "kestrova/curves/tlut1d.h"
#include "kestrova/curves/tspline.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/unit_scale.h"
#include "kestrova/primitives/tables.h"

using namespace kestrova::curves;
using namespace kestrova::frame;

namespace {

constexpr int kEntries = 65536;
constexpr int kNodes = 64;
constexpr float kPer63 = 0x1.041042p-6f;

void sampleToneCurve(float shadows, float highlights, float* curve) {
    TSpline spline(5);
    spline.setCtrPoint(0, 0.0f, 0.0f);
    spline.setCtrPoint(1, 0.25f, (shadows * 0.35f + 0.5f) * 0.5f);
    spline.setCtrPoint(2, 0.5f, 0.5f);
    spline.setCtrPoint(3, 0.75f, 1.0f - (0.5f - highlights * 0.35f) * 0.5f);
    spline.setCtrPoint(4, 1.0f, 1.0f);
    spline.update();
    for (int i = 0; i < kNodes; ++i) {
        const float u = static_cast<float>(i) * kPer63;
        curve[i] = u < 0.0f ? 0.0f : u > 1.0f ? 1.0f : std::clamp(spline.value(u), 0.0f, 1.0f);
    }
}

// Each entry through the curve, read linearly between its nodes.
KESTROVA_KERNEL void bend(ushort* table, const float* __restrict curve, int n) noexcept {
    for (int i = 0; i < n; ++i) {
        const float f = static_cast<float>(table[i]) * kPer65535 * 63.0f;
        const int i0 = static_cast<int>(f), i1 = i0 + 1, i2 = std::min(i1, kNodes - 1);
        const float r = (static_cast<float>(i1) - f) * curve[i0] + (f - static_cast<float>(i0)) * curve[i2];
        table[i] = sat16(r * 65535.0f);
    }
}

}  // namespace

void TLut16U::setupLightAdjust(float brightness, float contrast, float shadows, float highlights) {
    sampleToneCurve(shadows, highlights, m_curve);
    const float slope = lineSlope(contrast, m_kMin, m_kMax);
    const float offset = (1.0f - slope) * 32768.0f + brightness * 32767.0f * 0.4f;
    ippiImageRamp_16u_C1R(lut16U(), kEntries * 2, {kEntries, 1}, offset, slope, ippAxsHorizontal);
    bend(lut16U(), m_curve, kEntries);
}
