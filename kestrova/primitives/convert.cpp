#include "kestrova/primitives/convert.h"

#include <limits>

#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/zero16.h"
#include "kestrova/rows/plane.h"

using namespace kestrova::frame;
using namespace kestrova::rows;

namespace {

struct ToFloat {
    template <class Element>
    float operator()(Element v) const {
        return v;
    }
};

template <class Element>
struct Rounded {
    Element operator()(float v) const {
        return static_cast<Element>(roundClamped(v, std::numeric_limits<Element>::max()));
    }
};

template <class Element>
struct Truncated {
    Element operator()(float v) const {
        constexpr float kTop = std::numeric_limits<Element>::max();
        v = v > 0.0f ? v : 0.0f;
        return static_cast<Element>(static_cast<int>(v < kTop ? v : kTop));
    }
};

struct Widened {
    ushort operator()(uchar v) const { return static_cast<ushort>(v * 257); }
};

struct Narrowed {
    uchar operator()(ushort v) const {
        const int s = v - kZero16;
        return static_cast<uchar>(((s - (s >> 8)) >> 8) + 128);
    }
};

template <class From, class To, class Rule>
KESTROVA_KERNEL void convertRow(const From* __restrict src, To* __restrict dst, int n, Rule rule) noexcept {
    for (int x = 0; x < n; ++x) dst[x] = rule(src[x]);
}

template <class From, class To, class Rule>
IppStatus convert(Plane<const From> src, Plane<To> dst, IppiSize size, int channels, Rule rule) {
    if (const IppStatus status = checkRegion(size, channels, src, dst)) return status;
    const int elements = size.width * channels;
    parallelRows(size.height, elements, [&](int y) noexcept { convertRow(src.row(y), dst.row(y), elements, rule); });
    return ippStsNoErr;
}

template <class To>
IppStatus convertFloat(Plane<const float> src, Plane<To> dst, IppiSize size, IppRoundMode mode) {
    if (mode == ippRndZero) return convert(src, dst, size, 1, Truncated<To>{});
    return convert(src, dst, size, 1, Rounded<To>{});
}

}  // namespace

IppStatus ippiConvert_8u32f_C1R(const uchar* src, int srcStep, float* dst, int dstStep, IppiSize size) {
    return convert<uchar, float>({src, srcStep}, {dst, dstStep}, size, 1, ToFloat{});
}
IppStatus ippiConvert_16u32f_C1R(const ushort* src, int srcStep, float* dst, int dstStep, IppiSize size) {
    return convert<ushort, float>({src, srcStep}, {dst, dstStep}, size, 1, ToFloat{});
}

IppStatus ippiConvert_32f8u_C1R(const float* src, int srcStep, uchar* dst, int dstStep, IppiSize size,
                                IppRoundMode mode) {
    return convertFloat<uchar>({src, srcStep}, {dst, dstStep}, size, mode);
}
IppStatus ippiConvert_32f16u_C1R(const float* src, int srcStep, ushort* dst, int dstStep, IppiSize size,
                                 IppRoundMode mode) {
    return convertFloat<ushort>({src, srcStep}, {dst, dstStep}, size, mode);
}

IppStatus ippiScale_8u16u_C4R(const uchar* src, int srcStep, ushort* dst, int dstStep, IppiSize size) {
    return convert<uchar, ushort>({src, srcStep}, {dst, dstStep}, size, 4, Widened{});
}
IppStatus ippiScale_16u8u_C4R(const ushort* src, int srcStep, uchar* dst, int dstStep, IppiSize size,
                              IppHintAlgorithm) {
    return convert<ushort, uchar>({src, srcStep}, {dst, dstStep}, size, 4, Narrowed{});
}
