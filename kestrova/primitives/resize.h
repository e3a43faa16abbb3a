#pragma once

#include "kestrova/frame/vendor_types.h"

// Resampling of a plane by any factor. A pixel is a unit square: the centre xd + 0.5 of a destination pixel
// corresponds to the source position (xd + 0.5 - xShift) / xFactor, in y likewise. `src` and `dst` point at the first
// pixels of their planes, coordinates are those of the planes, and `dstROI` is the rectangle that is written: a
// picture made in tiles is the picture made at once. Samples come from `srcROI` (clipped to `srcSize`), its edge
// pixels being repeated outwards.
//
// Nearest takes the pixel that holds the position, a position between two the one to the right or below. Linear and
// cubic are separable; cubic is the convolution of R. G. Keys, "Cubic Convolution Interpolation for Digital Image
// Processing" (1981), with a = -1/2: four samples weighted -1/16, 9/16, 9/16, -1/16 half-way between two pixels. On
// whole pixels every form copies the pixel. Integer results are the exact sums rounded to nearest, halves up, and
// saturated; float sums are taken in double, along the rows first, and rounded once.
//
// Refused, with a negative status and nothing written: null planes, sizes, regions or steps that do not fit (a region
// of the destination may not begin at negative coordinates), factors that are not positive and finite, shifts that are
// not finite, other interpolation codes; no memory for the tables of a tile, some 300 KiB a thread. Planes must not
// overlap. Internal.

enum IppiInterpolation { IPPI_INTER_NN = 1, IPPI_INTER_LINEAR = 2, IPPI_INTER_CUBIC = 4 };

constexpr IppStatus ippStsInterpolationErr = -22;
constexpr IppStatus ippStsResizeFactorErr = -23;

/// Bytes of scratch for a resize: at least 1, so that no caller mistakes an empty block for exhausted memory. The size
/// is written whatever the regions and the code are; the resize is what refuses.
IppStatus ippiResizeGetBufSize(IppiRect srcROI, IppiRect dstROI, int nChannel, int interpolation, int* size);

/// `buffer` is not needed here and may be null.
IppStatus ippiResizeSqrPixel_8u_C1R(const uchar* src, IppiSize srcSize, int srcStep, IppiRect srcROI, uchar* dst,
                                    int dstStep, IppiRect dstROI, double xFactor, double yFactor, double xShift,
                                    double yShift, int interpolation, uchar* buffer);
IppStatus ippiResizeSqrPixel_16u_C1R(const ushort* src, IppiSize srcSize, int srcStep, IppiRect srcROI, ushort* dst,
                                     int dstStep, IppiRect dstROI, double xFactor, double yFactor, double xShift,
                                     double yShift, int interpolation, uchar* buffer);
IppStatus ippiResizeSqrPixel_32f_C1R(const float* src, IppiSize srcSize, int srcStep, IppiRect srcROI, float* dst,
                                     int dstStep, IppiRect dstROI, double xFactor, double yFactor, double xShift,
                                     double yShift, int interpolation, uchar* buffer);
