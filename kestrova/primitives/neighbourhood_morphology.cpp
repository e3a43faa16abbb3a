#include "kestrova/primitives/memory_status.h"
#include "kestrova/primitives/neighbourhood.h"
#include "kestrova/rows/morphology.h"

using namespace kestrova::primitives;
using namespace kestrova::rows;

namespace {

template <class Element>
IppStatus filter(Extreme extreme, Plane<const Element> src, Plane<Element> dst, IppiSize size, const uchar* mask,
                 IppiSize maskSize, IppiPoint anchor) {
    if (!mask) return ippStsNullPtrErr;
    if (const IppStatus status = checkRegion(size, 1, src, dst)) return status;
    if (const IppStatus status = checkWindow(maskSize, anchor, size)) return status;
    bool hasCells = false;
    const IppStatus status =
        orNoMemory([&] { hasCells = filterExtremes(extreme, src, dst, size, mask, Window(maskSize, anchor, size)); });
    return status == ippStsNoErr && !hasCells ? ippStsMaskSizeErr : status;
}

template <class Element>
IppStatus filter3x3(Extreme extreme, Plane<Element> srcDst, IppiSize size) {
    if (const IppStatus status = checkRegion(size, 1, srcDst)) return status;
    if (const IppStatus status = checkWindow({3, 3}, {1, 1}, size)) return status;
    return orNoMemory([&] { filterExtremes3x3(extreme, srcDst, size); });
}

}  // namespace

IppStatus ippiErode_8u_C1R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize dstSize, const uchar* mask,
                           IppiSize maskSize, IppiPoint anchor) {
    return filter<uchar>(Extreme::kMinimum, {src, srcStep}, {dst, dstStep}, dstSize, mask, maskSize, anchor);
}
IppStatus ippiErode_16u_C1R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize dstSize,
                            const uchar* mask, IppiSize maskSize, IppiPoint anchor) {
    return filter<ushort>(Extreme::kMinimum, {src, srcStep}, {dst, dstStep}, dstSize, mask, maskSize, anchor);
}
IppStatus ippiDilate_8u_C1R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize dstSize, const uchar* mask,
                            IppiSize maskSize, IppiPoint anchor) {
    return filter<uchar>(Extreme::kMaximum, {src, srcStep}, {dst, dstStep}, dstSize, mask, maskSize, anchor);
}
IppStatus ippiDilate_16u_C1R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize dstSize,
                             const uchar* mask, IppiSize maskSize, IppiPoint anchor) {
    return filter<ushort>(Extreme::kMaximum, {src, srcStep}, {dst, dstStep}, dstSize, mask, maskSize, anchor);
}

IppStatus ippiErode3x3_16u_C1IR(ushort* srcDst, int step, IppiSize size) {
    return filter3x3<ushort>(Extreme::kMinimum, {srcDst, step}, size);
}
IppStatus ippiDilate3x3_16u_C1IR(ushort* srcDst, int step, IppiSize size) {
    return filter3x3<ushort>(Extreme::kMaximum, {srcDst, step}, size);
}
