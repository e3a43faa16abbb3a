#pragma once

#include "kestrova/frame/vendor_types.h"

// Copies, fills and replicated borders. Operations without a caller in the library are here because the list of
// primitives is kept whole for filters to draw on. Internal.

/// Copies the region row by row; source and destination do not overlap.
IppStatus ippiCopy_8u_C1R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize size);
IppStatus ippiCopy_16u_C1R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize size);
IppStatus ippiCopy_16u_C3R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize size);
IppStatus ippiCopy_8u_C4R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize size);
IppStatus ippiCopy_16u_C4R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize size);
IppStatus ippiCopy_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize size);

/// Fills the region.
IppStatus ippiSet_8u_C1R(uchar value, uchar* dst, int dstStep, IppiSize size);
IppStatus ippiSet_16u_C1R(ushort value, ushort* dst, int dstStep, IppiSize size);
IppStatus ippiSet_32f_C1R(float value, float* dst, int dstStep, IppiSize size);

/// Writes `value` where the mask is not 0 and leaves the other pixels alone.
IppStatus ippiSet_8u_C1MR(uchar value, uchar* dst, int dstStep, IppiSize size, const uchar* mask, int maskStep);

/// Fills a vector.
IppStatus ippsSet_32f(float value, float* dst, int len);

/// Places the source in the destination at (`leftBorderWidth`, `topBorderHeight`) and fills all four borders with the
/// nearest source pixel. `dstSize` is at least `srcSize` plus top and left, else -6. The planes do not overlap.
IppStatus ippiCopyReplicateBorder_8u_C1R(const uchar* src, int srcStep, IppiSize srcSize, uchar* dst, int dstStep,
                                         IppiSize dstSize, int topBorderHeight, int leftBorderWidth);
IppStatus ippiCopyReplicateBorder_16u_C1R(const ushort* src, int srcStep, IppiSize srcSize, ushort* dst, int dstStep,
                                          IppiSize dstSize, int topBorderHeight, int leftBorderWidth);
IppStatus ippiCopyReplicateBorder_32f_C1R(const float* src, int srcStep, IppiSize srcSize, float* dst, int dstStep,
                                          IppiSize dstSize, int topBorderHeight, int leftBorderWidth);

/// The same where the inner image, at `src`, already lies inside the larger one: writes the borders around it and never
/// the inner image.
IppStatus ippiCopyReplicateBorder_8u_C1IR(uchar* src, int step, IppiSize srcSize, IppiSize dstSize, int topBorderHeight,
                                          int leftBorderWidth);
IppStatus ippiCopyReplicateBorder_16u_C1IR(ushort* src, int step, IppiSize srcSize, IppiSize dstSize,
                                           int topBorderHeight, int leftBorderWidth);
IppStatus ippiCopyReplicateBorder_32f_C1IR(float* src, int step, IppiSize srcSize, IppiSize dstSize,
                                           int topBorderHeight, int leftBorderWidth);
