#include "kestrova/curves/detail_curves.h"
#include "kestrova/curves/table_memory.h"
#include "kestrova/curves/tlut1d.h"
#include "kestrova/curves/tone_curve.h"
#include "kestrova/curves/tspline.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/unit_scale.h"
#include "kestrova/frame/zero16.h"
#include "kestrova/primitives/tables.h"

using namespace kestrova::curves;
using namespace kestrova::frame;

namespace {

void drawToneCurve(float shadows, float highlights, float* curve) {
    TSpline spline(5);
    spline.setCtrPoint(0, 0.0f, 0.0f);
    spline.setCtrPoint(1, 0.25f, (shadows * 0.35f + 0.5f) * 0.5f);
    spline.setCtrPoint(2, 0.5f, 0.5f);
    spline.setCtrPoint(3, 0.75f, 1.0f - (0.5f - highlights * 0.35f) * 0.5f);
    spline.setCtrPoint(4, 1.0f, 1.0f);
    spline.update();
    sampleToneCurve(spline, curve);
}

KESTROVA_KERNEL void bend(ushort* table, const float* __restrict curve, int n) noexcept {
    for (int i = 0; i < n; ++i) {
        const float position = static_cast<float>(table[i]) * kPer65535 * 63.0f;
        table[i] = sat16(toneAt(curve, position) * 65535.0f);
    }
}

}  // namespace

void TLut16U::setupLightAdjust(float brightness, float contrast, float shadows, float highlights) {
    orFailWithoutMemory("ERROR - TLut16U::setupLightAdjust - not enough memory",
                        [&] { drawToneCurve(shadows, highlights, m_curve); });
    const float slope = lineSlope(contrast, m_kMin, m_kMax);
    const float offset = lineOffset(slope, kZero16) + brightness * 32767.0f * 0.4f;
    ippiImageRamp_16u_C1R(lut16U(), kEntries16 * 2, {kEntries16, 1}, offset, slope, ippAxsHorizontal);
    bend(lut16U(), m_curve, kEntries16);
}
