#pragma once

#include <cstdint>
#include <opencv2/core.hpp>

/// The row kernels of a chunk. Planes are of 16 bits, chroma and detail zero at 32768.

namespace kestrova::photo {

/// Medium and large detail of a row of luminance, from its small detail and the models of the two larger scales.
struct ModelRows {
    const float *mediumSlope, *mediumOffset, *largeSlope, *largeOffset;
};
void takeApartRow(const ushort* Y, const ushort* small, const ModelRows& models, ushort* medium, ushort* large,
                  int n) noexcept;

/// How a scale of detail is shared out. Of what is no texture, `kept[z]` goes to the engine in zone z (shadows,
/// midtones, highlights) and `moved[z]` to the base, where no boost reaches it; the rest goes away.
struct Share {
    float kept[3] = {1, 1, 1};
    float moved[3] = {0, 0, 0};
};
/// `detail`, `texture` (0 to 255) and `out` for each of the three scales; `base` gets the rest of the luminance.
void splitRow(const ushort* Y, const ushort* const detail[3], const uchar* const texture[3], const Share share[3],
              ushort* const out[3], ushort* base, int n) noexcept;

/// The pixels of a row whose luminance went from Y to Y1, and whose chroma from dr, db to dr1, db1: what has changed is
/// added to them, so that what the planes do not hold survives. What leaves the range is brought back towards grey of
/// the same luminance.
struct ChangedRow {
    const ushort *Y, *Y1, *dr, *db, *dr1, *db1;
};
void composeRow(const ushort* bgra, const ChangedRow& row, ushort* out, int n) noexcept;

/// Blends packed pixels: `out` moves to `layer` by `mask` / 255; alpha stays.
void blendRow(const ushort* layer, const uchar* mask, ushort* out, int n) noexcept;

/// Sums of `step` pixels, added to `sums`, and the mean of `pixels` of them.
void addUpRow(const ushort* row, std::uint32_t* sums, int n, int step, int channels) noexcept;
void meanRow(const std::uint32_t* sums, ushort* out, int n, int pixels) noexcept;

}  // namespace kestrova::photo
