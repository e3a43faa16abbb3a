#pragma once

#include "kestrova/frame/vendor_types.h"

// Arithmetic on float planes, each operation rounded once to float, nothing saturated. Division by 0 gives a signed
// infinity, 0 / 0 NaN, and the status 6; all pixels are written none the less. Operations without a caller in the
// library, whose filters fuse such steps, are here because the list of primitives is kept whole for filters to draw on.
// Internal.

/// srcDst + value
IppStatus ippiAddC_32f_C1IR(float value, float* srcDst, int step, IppiSize size);
/// srcDst - value
IppStatus ippiSubC_32f_C1IR(float value, float* srcDst, int step, IppiSize size);
/// src * value
IppStatus ippiMulC_32f_C1R(const float* src, int srcStep, float value, float* dst, int dstStep, IppiSize size);
/// srcDst * (1 / value): the reciprocal is rounded to float first.
IppStatus ippiDivC_32f_C1IR(float value, float* srcDst, int step, IppiSize size);

/// srcDst + src
IppStatus ippiAdd_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize size);
/// srcDst - src
IppStatus ippiSub_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize size);
/// srcDst * src
IppStatus ippiMul_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize size);
/// srcDst / src
IppStatus ippiDiv_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize size);

/// src2 - src1
IppStatus ippiSub_32f_C1R(const float* src1, int step1, const float* src2, int step2, float* dst, int dstStep,
                          IppiSize size);
/// src1 * src2
IppStatus ippiMul_32f_C1R(const float* src1, int step1, const float* src2, int step2, float* dst, int dstStep,
                          IppiSize size);
/// src2 / src1
IppStatus ippiDiv_32f_C1R(const float* src1, int step1, const float* src2, int step2, float* dst, int dstStep,
                          IppiSize size);
/// srcDst / src over a vector
IppStatus ippsDiv_32f_I(const float* src, float* srcDst, int len);

/// src * src
IppStatus ippiSqr_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize size);
/// srcDst * srcDst
IppStatus ippiSqr_32f_C1IR(float* srcDst, int step, IppiSize size);

/// `value` where srcDst > threshold; other pixels, NaN among them, stay.
IppStatus ippiThreshold_GTVal_32f_C1IR(float* srcDst, int step, IppiSize size, float threshold, float value);
/// `value` where srcDst < threshold; other pixels stay.
IppStatus ippiThreshold_LTVal_32f_C1IR(float* srcDst, int step, IppiSize size, float threshold, float value);

/// srcDst ^ value
IppStatus ippiXorC_8u_C1IR(uchar value, uchar* srcDst, int step, IppiSize size);
