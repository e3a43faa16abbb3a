#include "kestrova/detail/tlightadjlutvl.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "kestrova/curves/tone_curve.h"
#include "kestrova/curves/tspline.h"
#include "kestrova/frame/unit_scale.h"
#include "kestrova/image/tpimage.h"

using namespace kestrova::curves;
using namespace kestrova::frame;

namespace {

// The tone curve that all parameters 0 give: the line over nodes 9 to 54.
constexpr std::array<float, kToneNodes> referenceCurve() {
    std::array<float, kToneNodes> curve{};
    for (int i = 0; i < kToneNodes; ++i) curve[i] = i < 9 ? 0.0f : i > 54 ? 1.0f : static_cast<float>(i - 9) / 45.0f;
    return curve;
}
constexpr std::array<float, kToneNodes> kReference = referenceCurve();

// Luminance 0..1 lies over nodes 9.5 to 54.5. A level beyond the curve stays at its end, NaN at its beginning.
float positionOf(float level) {
    const float t = level * 0.703125f + 0.1484375f;
    return (t > 0.0078125f ? std::min(t, 0.9921875f) : 0.0078125f) * 64.0f;
}

}  // namespace

TLightAdjLUTvl::TLightAdjLUTvl() = default;
TLightAdjLUTvl::~TLightAdjLUTvl() = default;

void TLightAdjLUTvl::setupCurve(float brightness, float contrast, float highlights, float shadows, float whites,
                                float blacks) {
    const auto bright = static_cast<double>(brightness);
    m_bright = static_cast<float>(0.343 * (bright * bright * bright));
    const float c = contrast * contrast * contrast;
    m_contrast = c > 0 ? 2.0f * c + 1.0f : 1.0f / (1.0f - 5.0f * c);
    m_highlights = highlights;
    m_shadows = shadows;
    m_whites = whites;
    m_blacks = blacks;

    constexpr float k = 0x1.6db6dcp-1f;  // 45 / 63
    const float lo = static_cast<float>(double(blacks) * -0.2);
    const float hi = static_cast<float>(1.0 - double(whites) * 0.2);
    const float w = hi - 0.5f;
    TSpline spline(5);
    spline.setCtrPoint(0, (lo - 0.5f) * k + 0.5f, 0.0f);
    spline.setCtrPoint(1, ((0.5f - lo) * 0.5f + lo - 0.5f) * k + 0.5f, (shadows * 0.25f + 0.5f) * 0.5f);
    spline.setCtrPoint(2, 0.5f, 0.5f);
    spline.setCtrPoint(3, (hi - w * 0.5f - 0.5f) * k + 0.5f, 1.0f - (0.5f - highlights * 0.25f) * 0.5f);
    spline.setCtrPoint(4, w * k + 0.5f, 1.0f);
    spline.update();
    sampleToneCurve(spline, m_curve);
}

void TLightAdjLUTvl::mapPixel(ushort& y, ushort& dr, ushort& db) {
    const float v = static_cast<float>(y) * kPer65535;
    float rgb[3];
    TPImage::YdRdB2RGB(y, dr, db, rgb[0], rgb[1], rgb[2]);

    float u = static_cast<float>((double(std::sqrt(v)) - 0.707) * double(m_contrast) + 0.707 + double(m_bright));
    u = u > 0 ? u * u : 2.0f * u;
    const float gain = (toneAt(m_curve, positionOf(u)) + 0.001f) / (toneAt(kReference.data(), positionOf(v)) + 0.001f);
    const float g = gain > 0 ? std::min(gain, 8.0f) : 0.0f;  // NaN is 0 too
    for (float& c : rgb) c = std::max(std::min(c * g, 4.0f), 0.0f);

    const auto [least, most] = std::minmax({rgb[0], rgb[1], rgb[2]});
    if (most > 1.0f) {
        const float s = static_cast<float>(double(1.0f - least) / (double(most - least) + 1e-7));
        for (float& c : rgb) c = least >= 1.0f ? 1.0f : (c - least) * s + least;
    }
    TPImage::RGB2YdRdB(rgb[0], rgb[1], rgb[2], y, dr, db);
}

const ushort* TLightAdjLUTvl::table() {
    computeLUT16U(true);
    return m_lutY_p;
}
