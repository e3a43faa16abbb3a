
#include "kestrova/primitives/memory_status.h"
#include "kestrova/primitives/neighbourhood.h"
#include "kestrova/rows/box_filter.h"
#include "kestrova/rows/box_means.h"

using namespace kestrova::primitives;
using namespace kestrova::rows;

namespace {

IppStatus checkMask(IppiSize mask, IppiPoint anchor, IppiSize region) {
    if (const IppStatus status = checkWindow(mask, anchor, region)) return status;
    return boxArea(mask.width, mask.height) >> 32 ? ippStsMaskSizeErr : ippStsNoErr;
}

template <class Element>
IppStatus filter(Plane<const Element> src, Plane<Element> dst, IppiSize size, IppiSize mask, IppiPoint anchor) {
    if (const IppStatus status = checkRegion(size, 1, src, dst)) return status;
    if (const IppStatus status = checkMask(mask, anchor, size)) return status;
    return orNoMemory([&] { filterBox(src, dst, size, Window(mask, anchor, size)); });
}

template <class Element>
IppStatus filterInPlace(Plane<Element> srcDst, IppiSize size, IppiSize mask, IppiPoint anchor) {
    if (const IppStatus status = checkRegion(size, 1, srcDst)) return status;
    if (const IppStatus status = checkMask(mask, anchor, size)) return status;
    return orNoMemory([&] { filterBoxInPlace(srcDst, size, Window(mask, anchor, size)); });
}

}  // namespace

IppStatus ippiFilterBox_8u_C1R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize dstSize,
                               IppiSize maskSize, IppiPoint anchor) {
    return filter<uchar>({src, srcStep}, {dst, dstStep}, dstSize, maskSize, anchor);
}
IppStatus ippiFilterBox_16u_C1R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize dstSize,
                                IppiSize maskSize, IppiPoint anchor) {
    return filter<ushort>({src, srcStep}, {dst, dstStep}, dstSize, maskSize, anchor);
}
IppStatus ippiFilterBox_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize dstSize,
                                IppiSize maskSize, IppiPoint anchor) {
    return filter<float>({src, srcStep}, {dst, dstStep}, dstSize, maskSize, anchor);
}

IppStatus ippiFilterBox_8u_C1IR(uchar* srcDst, int step, IppiSize dstSize, IppiSize maskSize, IppiPoint anchor) {
    return filterInPlace<uchar>({srcDst, step}, dstSize, maskSize, anchor);
}
IppStatus ippiFilterBox_16u_C1IR(ushort* srcDst, int step, IppiSize dstSize, IppiSize maskSize, IppiPoint anchor) {
    return filterInPlace<ushort>({srcDst, step}, dstSize, maskSize, anchor);
}
IppStatus ippiFilterBox_32f_C1IR(float* srcDst, int step, IppiSize dstSize, IppiSize maskSize, IppiPoint anchor) {
    return filterInPlace<float>({srcDst, step}, dstSize, maskSize, anchor);
}
