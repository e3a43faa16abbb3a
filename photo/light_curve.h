#pragma once

#include "photo/settings.h"

namespace kestrova::photo {

/// The six fields `m_light` of the engine.
///
/// The engine's curve runs through five points, of which `blacks` and `whites` move the ends (black point -0.2 blacks,
/// white point 1 - 0.2 whites) and `shadows` and `highlights` lift or lower those in the middle of either half, by an
/// eighth at 1. Under it `brightness` adds 0.343 b^3 to the square root of luminance, and `contrast` multiplies around
/// the square root's middle. Both leave the range: with brightness 1 the brighter half becomes white, with contrast
/// below 0 black becomes grey, with a kink where the engine's gain meets its limit of 8.
struct EngineLight {
    float brightness = 0, contrast = 0, highlights = 0, shadows = 0, whites = 0, blacks = 0;
};

/// - brightness B: adds 0.124 B (0.12 B below 0) to the square root, brings roots together by 0.1 B (0.17 B) so that
///   the ends stay within what the engine's curve holds, moves the white and the black point to where black and white
///   have got, so that both stay, and lifts (lowers) both halves by 0.6 B.
/// - contrast C: lowers the dark half and lifts the bright one by 0.7 C; the engine's own would clip.
/// - shadows S, highlights H: S and H, from 0 down 0.7 of them.
/// - whites W: W above 0, half of it below; the gain stays where nothing clips.
/// - blacks: 0.3 of it above 0, where a larger one would show the engine's limited gain; 0.6 below.
/// The sum in each half is bounded so that the curve rises everywhere.
EngineLight engineLight(const Light& light);

}  // namespace kestrova::photo
