#pragma once

#include "kestrova/frame/vendor_types.h"

// Changes of element type; source and destination do not overlap. Internal.

/// Exact, no scaling.
IppStatus ippiConvert_8u32f_C1R(const uchar* src, int srcStep, float* dst, int dstStep, IppiSize size);
IppStatus ippiConvert_16u32f_C1R(const ushort* src, int srcStep, float* dst, int dstStep, IppiSize size);

/// Rounded as `mode` says and saturated to 0..255 or 0..65535; NaN gives 0.
IppStatus ippiConvert_32f8u_C1R(const float* src, int srcStep, uchar* dst, int dstStep, IppiSize size,
                                IppRoundMode mode);
IppStatus ippiConvert_32f16u_C1R(const float* src, int srcStep, ushort* dst, int dstStep, IppiSize size,
                                 IppRoundMode mode);

/// v * 257: 255 becomes 65535.
IppStatus ippiScale_8u16u_C4R(const uchar* src, int srcStep, ushort* dst, int dstStep, IppiSize size);

/// With s = v - 32768 and arithmetic shifts: ((s - (s >> 8)) >> 8) + 128. 65535 becomes 255.
IppStatus ippiScale_16u8u_C4R(const ushort* src, int srcStep, uchar* dst, int dstStep, IppiSize size,
                              IppHintAlgorithm hint);
