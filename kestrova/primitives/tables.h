#pragma once

#include "kestrova/frame/vendor_types.h"

// Tables: look-up, and the straight lines that tables are made of. Internal.

/// dst = table[src & ((1 << nBitSize) - 1)]; `nBitSize` is 1..8 for the 8-bit form and 1..16 for the others, else -5.
/// The table holds 1 << nBitSize entries. In place is allowed where the element types agree.
IppStatus ippiLUTPalette_8u_C1R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize size,
                                const uchar* table, int nBitSize);
IppStatus ippiLUTPalette_16u_C1R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize size,
                                 const ushort* table, int nBitSize);
IppStatus ippiLUTPalette_16u8u_C1R(const ushort* src, int srcStep, uchar* dst, int dstStep, IppiSize size,
                                   const uchar* table, int nBitSize);

/// Maps every pixel through the curve of straight lines from (levels[k], values[k]) to (levels[k+1], values[k+1]),
/// rounded and clamped to 0..65535; pixels below levels[0] and from levels[nLevels-1] up stay as they are. Levels
/// ascend and may lie outside 0..65535; between two that do not ascend nothing is drawn; a line of which one single
/// entry lies inside gives that entry values[k]. `nLevels` is at least 2, else -5.
IppStatus ippiLUT_Linear_16u_C1IR(ushort* srcDst, int step, IppiSize size, const int* values, const int* levels,
                                  int nLevels);

/// The line slope * i + offset in float, rounded (halves up) and clamped to the element's range; i is the column, the
/// row or, for `ippAxsBoth`, their product. NaN gives 0.
IppStatus ippiImageRamp_8u_C1R(uchar* dst, int dstStep, IppiSize size, float offset, float slope, IppiAxis axis);
IppStatus ippiImageRamp_16u_C1R(ushort* dst, int dstStep, IppiSize size, float offset, float slope, IppiAxis axis);
