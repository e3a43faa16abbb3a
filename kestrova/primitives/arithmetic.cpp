#include "kestrova/primitives/arithmetic.h"

#include <atomic>

#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/primitives/parallel_chunks.h"
#include "kestrova/rows/plane.h"

using namespace kestrova::frame;
using namespace kestrova::primitives;
using namespace kestrova::rows;

namespace {

/// dst = rule(dst); in place, so that one pointer is all there is.
template <class Element, class Rule>
KESTROVA_KERNEL void applyRow(Element* dst, int n, Rule rule) noexcept {
    for (int x = 0; x < n; ++x) dst[x] = rule(dst[x]);
}

template <class Rule>
KESTROVA_KERNEL void mapRow(const float* src, float* dst, int n, Rule rule) noexcept {
    for (int x = 0; x < n; ++x) dst[x] = rule(src[x]);
}

template <class Rule>
KESTROVA_KERNEL void combineRow(const float* src1, const float* src2, float* dst, int n, Rule rule) noexcept {
    for (int x = 0; x < n; ++x) dst[x] = rule(src1[x], src2[x]);
}

/// dst = dividend / divisor; true if a divisor is 0.
KESTROVA_KERNEL bool divideRow(const float* divisor, const float* dividend, float* dst, int n) noexcept {
    int zeros = 0;
    for (int x = 0; x < n; ++x) {
        zeros |= divisor[x] == 0.0f;
        dst[x] = dividend[x] / divisor[x];
    }
    return zeros != 0;
}

template <class Element, class Rule>
IppStatus apply(Plane<Element> srcDst, IppiSize size, Rule rule) {
    if (const IppStatus status = checkRegion(size, 1, srcDst)) return status;
    parallelRows(size.height, size.width, [&](int y) noexcept { applyRow(srcDst.row(y), size.width, rule); });
    return ippStsNoErr;
}

template <class Rule>
IppStatus map(Plane<const float> src, Plane<float> dst, IppiSize size, Rule rule) {
    if (const IppStatus status = checkRegion(size, 1, src, dst)) return status;
    parallelRows(size.height, size.width, [&](int y) noexcept { mapRow(src.row(y), dst.row(y), size.width, rule); });
    return ippStsNoErr;
}

template <class Rule>
IppStatus combine(Plane<const float> src1, Plane<const float> src2, Plane<float> dst, IppiSize size, Rule rule) {
    if (const IppStatus status = checkRegion(size, 1, src1, src2, dst)) return status;
    parallelRows(size.height, size.width,
                 [&](int y) noexcept { combineRow(src1.row(y), src2.row(y), dst.row(y), size.width, rule); });
    return ippStsNoErr;
}

struct Sum {
    float operator()(float a, float b) const { return a + b; }
};
struct Product {
    float operator()(float a, float b) const { return a * b; }
};
/// The first operand is what is taken away, as the primitives have it.
struct Difference {
    float operator()(float a, float b) const { return b - a; }
};
struct Square {
    float operator()(float v) const { return v * v; }
};

IppStatus divide(Plane<const float> divisor, Plane<const float> dividend, Plane<float> dst, IppiSize size) {
    if (const IppStatus status = checkRegion(size, 1, divisor, dividend, dst)) return status;
    std::atomic<bool> zeros{false};
    parallelRows(size.height, size.width, [&](int y) noexcept {
        if (divideRow(divisor.row(y), dividend.row(y), dst.row(y), size.width)) zeros = true;
    });
    return zeros ? ippStsDivByZero : ippStsNoErr;
}

}  // namespace

IppStatus ippiAddC_32f_C1IR(float value, float* srcDst, int step, IppiSize size) {
    return apply<float>({srcDst, step}, size, [value](float v) { return v + value; });
}
IppStatus ippiSubC_32f_C1IR(float value, float* srcDst, int step, IppiSize size) {
    return apply<float>({srcDst, step}, size, [value](float v) { return v - value; });
}
IppStatus ippiMulC_32f_C1R(const float* src, int srcStep, float value, float* dst, int dstStep, IppiSize size) {
    return map({src, srcStep}, {dst, dstStep}, size, [value](float v) { return v * value; });
}
IppStatus ippiDivC_32f_C1IR(float value, float* srcDst, int step, IppiSize size) {
    const float reciprocal = 1.0f / value;
    const IppStatus status = apply<float>({srcDst, step}, size, [reciprocal](float v) { return v * reciprocal; });
    return status == ippStsNoErr && value == 0.0f ? ippStsDivByZero : status;
}

IppStatus ippiAdd_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize size) {
    return combine({src, srcStep}, {srcDst, step}, {srcDst, step}, size, Sum{});
}
IppStatus ippiSub_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize size) {
    return combine({src, srcStep}, {srcDst, step}, {srcDst, step}, size, Difference{});
}
IppStatus ippiMul_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize size) {
    return combine({src, srcStep}, {srcDst, step}, {srcDst, step}, size, Product{});
}
IppStatus ippiDiv_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize size) {
    return divide({src, srcStep}, {srcDst, step}, {srcDst, step}, size);
}

IppStatus ippiSub_32f_C1R(const float* src1, int step1, const float* src2, int step2, float* dst, int dstStep,
                          IppiSize size) {
    return combine({src1, step1}, {src2, step2}, {dst, dstStep}, size, Difference{});
}
IppStatus ippiMul_32f_C1R(const float* src1, int step1, const float* src2, int step2, float* dst, int dstStep,
                          IppiSize size) {
    return combine({src1, step1}, {src2, step2}, {dst, dstStep}, size, Product{});
}
IppStatus ippiDiv_32f_C1R(const float* src1, int step1, const float* src2, int step2, float* dst, int dstStep,
                          IppiSize size) {
    return divide({src1, step1}, {src2, step2}, {dst, dstStep}, size);
}
IppStatus ippsDiv_32f_I(const float* src, float* srcDst, int len) {
    if (!src || !srcDst) return ippStsNullPtrErr;
    if (len < 1) return ippStsSizeErr;
    std::atomic<bool> zeros{false};
    parallelChunks(len, [&](int first, int count) noexcept {
        if (divideRow(src + first, srcDst + first, srcDst + first, count)) zeros = true;
    });
    return zeros ? ippStsDivByZero : ippStsNoErr;
}

IppStatus ippiSqr_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize size) {
    return map({src, srcStep}, {dst, dstStep}, size, Square{});
}
IppStatus ippiSqr_32f_C1IR(float* srcDst, int step, IppiSize size) {
    return apply<float>({srcDst, step}, size, Square{});
}

IppStatus ippiThreshold_GTVal_32f_C1IR(float* srcDst, int step, IppiSize size, float threshold, float value) {
    return apply<float>({srcDst, step}, size, [=](float v) { return v > threshold ? value : v; });
}
IppStatus ippiThreshold_LTVal_32f_C1IR(float* srcDst, int step, IppiSize size, float threshold, float value) {
    return apply<float>({srcDst, step}, size, [=](float v) { return v < threshold ? value : v; });
}

IppStatus ippiXorC_8u_C1IR(uchar value, uchar* srcDst, int step, IppiSize size) {
    return apply<uchar>({srcDst, step}, size, [value](uchar v) { return static_cast<uchar>(v ^ value); });
}
