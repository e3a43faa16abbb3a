#pragma once

#include "kestrova/curves/tlut_y.h"

/// The light curve of the detail engine: six sliders become one table of luminance. A step on the square root of
/// luminance for brightness and contrast is followed by a gain, read from a tone curve against a fixed reference curve
/// and applied in linear RGB, so that strong gains clip and desaturate as a colour does. Internal.
class TLightAdjLUTvl final : public TLutY16U {
public:
    /// The members stay unset until `setupCurve`, which must come before `proc`.
    TLightAdjLUTvl();
    /// Releases the table, unless a copy holds it.
    ~TLightAdjLUTvl();

    /// Derives the curve; the formulas are made for -1..1 and do not limit anything.
    void setupCurve(float brightness, float contrast, float highlights, float shadows, float whites, float blacks);

    /// The rule of the table for one pixel; any members give values within 16 bits.
    void mapPixel(ushort& y, ushort& dr, ushort& db) override;

    /// The 65536 entries of the table, computed anew, for work that does more with a row than look it up.
    const ushort* table();

private:
    float m_curve[64];   ///< the tone curve at i / 63, values 0..1
    float m_bright;      ///< offset on the square root of luminance
    float m_contrast;    ///< factor on the square root of luminance
    float m_highlights;  ///< as given
    float m_shadows;     ///< as given
    float m_whites;      ///< as given
    float m_blacks;      ///< as given
};
