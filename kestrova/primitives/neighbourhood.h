#pragma once

#include "kestrova/frame/vendor_types.h"

// Filters over a neighbourhood. All read outside the region: the pixels that the mask covers exist, and no operation
// here makes a border of its own. The cell of the mask at `anchor` lies on the output pixel. A mask side that is not
// positive, or that covers more than 2^31 - 1 columns or rows together with the region, gives -33, an anchor outside
// the mask -34. Operations without a caller in the library are here because the list of primitives is kept whole for
// filters to draw on. Internal.

/// Mean of the mask window. The cost does not depend on the window's height, and grows with the logarithm of its width.
/// Source and destination do not overlap. Integers: the exact mean rounded to nearest, halves up; a mask has fewer than
/// 2^32 cells, else -33. Floats: summed in double in an order that does not depend on threads, with an error of at most
/// 4 B 2^-53, B = max(32, mask height), of the largest sum of |v| under this window and the 2 B above it, before the
/// mean is rounded to float: nothing drifts over the plane, and a mask of one pixel copies. A value that is not finite
/// reaches only the windows it lies in, where it has the effect that addition gives it; the sums begin anew where one
/// enters windows that held none, and count it as 0. It costs the same under a mask of any height.
IppStatus ippiFilterBox_8u_C1R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize dstSize,
                               IppiSize maskSize, IppiPoint anchor);
IppStatus ippiFilterBox_16u_C1R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize dstSize,
                                IppiSize maskSize, IppiPoint anchor);
IppStatus ippiFilterBox_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize dstSize,
                                IppiSize maskSize, IppiPoint anchor);

/// The same in place, with the results that the forms above give on a copy; the pixels around the region are read and
/// not changed. Scratch: some rows as high as the mask for each thread, not a plane.
IppStatus ippiFilterBox_8u_C1IR(uchar* srcDst, int step, IppiSize dstSize, IppiSize maskSize, IppiPoint anchor);
IppStatus ippiFilterBox_16u_C1IR(ushort* srcDst, int step, IppiSize dstSize, IppiSize maskSize, IppiPoint anchor);
IppStatus ippiFilterBox_32f_C1IR(float* srcDst, int step, IppiSize dstSize, IppiSize maskSize, IppiPoint anchor);

/// `ippMskSize5x5`: 2 7 12 7 2; 7 31 52 31 7; 12 52 127 52 12; 7 31 52 31 7; 2 7 12 7 2, over 571.
/// `ippMskSize3x3`: 1 2 1; 2 4 2; 1 2 1, over 16. The anchor is the centre; another mask gives -33. Bytes are rounded
/// to nearest, halves up. Floats are summed in double, mirrored pixels first: the rows above and below, then weighted
/// by column from the outermost row inwards, then the columns on both sides from the outermost inwards; last the
/// product with 1 / 571 or 1 / 16.
IppStatus ippiFilterGauss_8u_C1R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize dstSize,
                                 IppiMaskSize mask);
IppStatus ippiFilterGauss_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize dstSize,
                                  IppiMaskSize mask);

/// Minimum (erode) or maximum (dilate) over the cells where the mask, `maskSize.height` rows of `maskSize.width` bytes
/// without gaps, is not 0. A mask of zeros alone gives -33. Source and destination do not overlap.
IppStatus ippiErode_8u_C1R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize dstSize, const uchar* mask,
                           IppiSize maskSize, IppiPoint anchor);
IppStatus ippiErode_16u_C1R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize dstSize,
                            const uchar* mask, IppiSize maskSize, IppiPoint anchor);
IppStatus ippiDilate_8u_C1R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize dstSize, const uchar* mask,
                            IppiSize maskSize, IppiPoint anchor);
IppStatus ippiDilate_16u_C1R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize dstSize,
                             const uchar* mask, IppiSize maskSize, IppiPoint anchor);

/// In place minimum or maximum over the 3 by 3 neighbourhood of the unmodified plane, one pixel around the region being
/// read and not changed.
IppStatus ippiErode3x3_16u_C1IR(ushort* srcDst, int step, IppiSize size);
IppStatus ippiDilate3x3_16u_C1IR(ushort* srcDst, int step, IppiSize size);
