#include "kestrova/primitives/copy.h"

#include <algorithm>
#include <cstring>

#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/primitives/parallel_chunks.h"
#include "kestrova/rows/plane.h"

using namespace kestrova::frame;
using namespace kestrova::primitives;
using namespace kestrova::rows;

namespace {

template <class Element>
IppStatus copy(Plane<const Element> src, Plane<Element> dst, IppiSize size, int channels) {
    if (const IppStatus status = checkRegion(size, channels, src, dst)) return status;
    const std::size_t bytes =
        sizeof(Element) * static_cast<std::size_t>(channels) * static_cast<std::size_t>(size.width);
    parallelRows(size.height, static_cast<int>(bytes / kBytesMovedAtOnce),
                 [&](int y) noexcept { std::memcpy(dst.row(y), src.row(y), bytes); });
    return ippStsNoErr;
}

template <class Element>
KESTROVA_KERNEL void fillRow(Element* dst, Element value, int n) noexcept {
    for (int x = 0; x < n; ++x) dst[x] = value;
}

template <class Element>
IppStatus set(Element value, Plane<Element> dst, IppiSize size) {
    if (const IppStatus status = checkRegion(size, 1, dst)) return status;
    const std::size_t bytes = sizeof(Element) * static_cast<std::size_t>(size.width);
    parallelRows(size.height, static_cast<int>(bytes / kBytesMovedAtOnce),
                 [&](int y) noexcept { fillRow(dst.row(y), value, size.width); });
    return ippStsNoErr;
}

KESTROVA_KERNEL void fillMaskedRow(uchar* __restrict dst, const uchar* __restrict mask, uchar value, int n) noexcept {
    for (int x = 0; x < n; ++x) dst[x] = mask[x] ? value : dst[x];
}

/// Columns `left` to the left of a row of `inner` and `right` to its right.
struct Sides {
    int left, inner, right;
};

template <class Element>
void replicateSides(Element* row, Sides sides) noexcept {
    Element* inner = row + sides.left;
    std::fill_n(row, sides.left, inner[0]);
    std::fill_n(inner + sides.inner, sides.right, inner[sides.inner - 1]);
}

template <class Element>
void replicateRow(const Element* src, Element* dst, Sides sides) noexcept {
    std::memcpy(dst + sides.left, src, sizeof(Element) * static_cast<std::size_t>(sides.inner));
    replicateSides(dst, sides);
}

/// The status of an inner image of `inner` at (`left`, `top`) in an outer one; `sides` gets its columns.
IppStatus checkBorder(IppiSize inner, IppiSize outer, int top, int left, Sides& sides) {
    if (top < 0 || left < 0 || outer.width - left < inner.width || outer.height - top < inner.height)
        return ippStsSizeErr;
    sides = {left, inner.width, outer.width - left - inner.width};
    return ippStsNoErr;
}

template <class Element>
IppStatus copyReplicateBorder(Plane<const Element> src, IppiSize srcSize, Plane<Element> dst, IppiSize dstSize, int top,
                              int left) {
    if (!src.elements || !dst.elements) return ippStsNullPtrErr;
    if (const IppStatus status = checkRegion(srcSize, 1, src)) return status;
    if (const IppStatus status = checkRegion(dstSize, 1, dst)) return status;
    Sides sides;
    if (const IppStatus status = checkBorder(srcSize, dstSize, top, left, sides)) return status;
    parallelRows(dstSize.height, dstSize.width, [&](int y) noexcept {
        replicateRow(src.row(std::clamp(y - top, 0, srcSize.height - 1)), dst.row(y), sides);
    });
    return ippStsNoErr;
}

long long pixels(IppiSize size) { return static_cast<long long>(size.width) * size.height; }

template <class Element>
IppStatus replicateBorderInPlace(Plane<Element> src, IppiSize srcSize, IppiSize dstSize, int top, int left) {
    if (const IppStatus status = checkRegion(srcSize, 1, src)) return status;
    if (const IppStatus status = checkRegion(dstSize, 1, src)) return status;
    Sides sides;
    if (const IppStatus status = checkBorder(srcSize, dstSize, top, left, sides)) return status;
    const long long border = pixels(dstSize) - pixels(srcSize);
    parallelRows(dstSize.height, static_cast<int>(border / dstSize.height), [&](int y) noexcept {
        const int inner = y - top;
        Element* dst = src.row(inner) - left;
        if (inner >= 0 && inner < srcSize.height)
            replicateSides(dst, sides);
        else
            replicateRow(src.row(std::clamp(inner, 0, srcSize.height - 1)), dst, sides);
    });
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiCopy_8u_C1R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize size) {
    return copy<uchar>({src, srcStep}, {dst, dstStep}, size, 1);
}
IppStatus ippiCopy_16u_C1R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize size) {
    return copy<ushort>({src, srcStep}, {dst, dstStep}, size, 1);
}
IppStatus ippiCopy_16u_C3R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize size) {
    return copy<ushort>({src, srcStep}, {dst, dstStep}, size, 3);
}
IppStatus ippiCopy_8u_C4R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize size) {
    return copy<uchar>({src, srcStep}, {dst, dstStep}, size, 4);
}
IppStatus ippiCopy_16u_C4R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize size) {
    return copy<ushort>({src, srcStep}, {dst, dstStep}, size, 4);
}
IppStatus ippiCopy_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize size) {
    return copy<float>({src, srcStep}, {dst, dstStep}, size, 1);
}

IppStatus ippiSet_8u_C1R(uchar value, uchar* dst, int dstStep, IppiSize size) {
    return set<uchar>(value, {dst, dstStep}, size);
}
IppStatus ippiSet_16u_C1R(ushort value, ushort* dst, int dstStep, IppiSize size) {
    return set<ushort>(value, {dst, dstStep}, size);
}
IppStatus ippiSet_32f_C1R(float value, float* dst, int dstStep, IppiSize size) {
    return set<float>(value, {dst, dstStep}, size);
}

IppStatus ippiSet_8u_C1MR(uchar value, uchar* dst, int dstStep, IppiSize size, const uchar* mask, int maskStep) {
    const Plane dstPlane{dst, dstStep};
    const Plane maskPlane{mask, maskStep};
    if (const IppStatus status = checkRegion(size, 1, dstPlane, maskPlane)) return status;
    parallelRows(size.height, size.width / kBytesMovedAtOnce,
                 [&](int y) noexcept { fillMaskedRow(dstPlane.row(y), maskPlane.row(y), value, size.width); });
    return ippStsNoErr;
}

IppStatus ippsSet_32f(float value, float* dst, int len) {
    if (!dst) return ippStsNullPtrErr;
    if (len < 1) return ippStsSizeErr;
    parallelChunks(len, [&](int first, int count) noexcept { fillRow(dst + first, value, count); });
    return ippStsNoErr;
}

IppStatus ippiCopyReplicateBorder_8u_C1R(const uchar* src, int srcStep, IppiSize srcSize, uchar* dst, int dstStep,
                                         IppiSize dstSize, int topBorderHeight, int leftBorderWidth) {
    return copyReplicateBorder<uchar>({src, srcStep}, srcSize, {dst, dstStep}, dstSize, topBorderHeight,
                                      leftBorderWidth);
}
IppStatus ippiCopyReplicateBorder_16u_C1R(const ushort* src, int srcStep, IppiSize srcSize, ushort* dst, int dstStep,
                                          IppiSize dstSize, int topBorderHeight, int leftBorderWidth) {
    return copyReplicateBorder<ushort>({src, srcStep}, srcSize, {dst, dstStep}, dstSize, topBorderHeight,
                                       leftBorderWidth);
}
IppStatus ippiCopyReplicateBorder_32f_C1R(const float* src, int srcStep, IppiSize srcSize, float* dst, int dstStep,
                                          IppiSize dstSize, int topBorderHeight, int leftBorderWidth) {
    return copyReplicateBorder<float>({src, srcStep}, srcSize, {dst, dstStep}, dstSize, topBorderHeight,
                                      leftBorderWidth);
}
IppStatus ippiCopyReplicateBorder_8u_C1IR(uchar* src, int step, IppiSize srcSize, IppiSize dstSize, int topBorderHeight,
                                          int leftBorderWidth) {
    return replicateBorderInPlace<uchar>({src, step}, srcSize, dstSize, topBorderHeight, leftBorderWidth);
}
IppStatus ippiCopyReplicateBorder_16u_C1IR(ushort* src, int step, IppiSize srcSize, IppiSize dstSize,
                                           int topBorderHeight, int leftBorderWidth) {
    return replicateBorderInPlace<ushort>({src, step}, srcSize, dstSize, topBorderHeight, leftBorderWidth);
}
IppStatus ippiCopyReplicateBorder_32f_C1IR(float* src, int step, IppiSize srcSize, IppiSize dstSize,
                                           int topBorderHeight, int leftBorderWidth) {
    return replicateBorderInPlace<float>({src, step}, srcSize, dstSize, topBorderHeight, leftBorderWidth);
}
