#include "kestrova/primitives/tables.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <numeric>

#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/rows/lookup_row.h"
#include "kestrova/rows/plane.h"

using namespace kestrova::frame;
using namespace kestrova::rows;

namespace {

template <class From, class To>
IppStatus lookUp(Plane<const From> src, Plane<To> dst, IppiSize size, const To* table, int bits) {
    if (!table) return ippStsNullPtrErr;
    if (const IppStatus status = checkRegion(size, 1, src, dst)) return status;
    if (bits < 1 || bits > std::numeric_limits<From>::digits) return ippStsBadArgErr;
    const auto mask = static_cast<From>((1u << bits) - 1);
    const bool allBits = mask == std::numeric_limits<From>::max();
    parallelRows(size.height, size.width, [&](int y) noexcept {
        if (allBits)
            lookUpRow(src.row(y), dst.row(y), size.width, table);
        else
            lookUpRow(src.row(y), dst.row(y), size.width, table, [mask](From value) noexcept { return value & mask; });
    });
    return ippStsNoErr;
}

constexpr int kTableSize = 65536;

void drawLine(ushort* table, int level, int nextLevel, int value, int nextValue) {
    const int first = std::max(level, 0);
    const int end = std::min(nextLevel, kTableSize);
    if (end <= first) return;
    if (end == first + 1) {
        table[first] = clamp16(value);
        return;
    }
    const double l = level, v = value;
    const double slope = (nextValue - v) / (nextLevel - l);
    for (int i = first; i < end; ++i)
        table[i] = static_cast<ushort>(std::clamp(i * slope + v + 0.5 - l * slope, 0.0, 65535.0));
}

template <class Element>
Element rampValue(float offset, float slope, float i) {
    constexpr Element kTop = std::numeric_limits<Element>::max();
    const float v = slope * i + offset;
    if (v >= kTop - 0.5f) return kTop;
    const float up = v + 0.5f;
    return v >= 0.0f ? static_cast<Element>(up) : Element(0);
}

template <class Element, class Coordinate>
KESTROVA_KERNEL void rampRow(Element* dst, int n, float offset, float slope, Coordinate start,
                             Coordinate increment) noexcept {
    for (int x = 0; x < n; ++x) dst[x] = rampValue<Element>(offset, slope, static_cast<float>(start + x * increment));
}

template <class Element>
IppStatus ramp(Plane<Element> dst, IppiSize size, float offset, float slope, IppiAxis axis) {
    if (const IppStatus status = checkRegion(size, 1, dst)) return status;
    if (axis != ippAxsHorizontal && axis != ippAxsVertical && axis != ippAxsBoth) return ippStsBadArgErr;
    parallelRows(size.height, size.width, [&](int y) noexcept {
        const long long start = axis == ippAxsVertical ? y : 0;
        const long long increment = axis == ippAxsVertical ? 0 : axis == ippAxsBoth ? y : 1;
        if (increment <= 1)
            rampRow(dst.row(y), size.width, offset, slope, static_cast<int>(start), static_cast<int>(increment));
        else
            rampRow(dst.row(y), size.width, offset, slope, start, increment);
    });
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiLUTPalette_8u_C1R(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize size,
                                const uchar* table, int nBitSize) {
    return lookUp<uchar, uchar>({src, srcStep}, {dst, dstStep}, size, table, nBitSize);
}
IppStatus ippiLUTPalette_16u_C1R(const ushort* src, int srcStep, ushort* dst, int dstStep, IppiSize size,
                                 const ushort* table, int nBitSize) {
    return lookUp<ushort, ushort>({src, srcStep}, {dst, dstStep}, size, table, nBitSize);
}
IppStatus ippiLUTPalette_16u8u_C1R(const ushort* src, int srcStep, uchar* dst, int dstStep, IppiSize size,
                                   const uchar* table, int nBitSize) {
    return lookUp<ushort, uchar>({src, srcStep}, {dst, dstStep}, size, table, nBitSize);
}

IppStatus ippiLUT_Linear_16u_C1IR(ushort* srcDst, int step, IppiSize size, const int* values, const int* levels,
                                  int nLevels) {
    if (!values || !levels) return ippStsNullPtrErr;
    const Plane plane{srcDst, step};
    if (const IppStatus status = checkRegion(size, 1, plane)) return status;
    if (nLevels < 2) return ippStsBadArgErr;
    const std::unique_ptr<ushort[]> table(new (std::nothrow) ushort[kTableSize]);
    if (!table) return ippStsNoMemErr;
    std::iota(table.get(), table.get() + kTableSize, ushort(0));
    for (int k = 0; k + 1 < nLevels; ++k) drawLine(table.get(), levels[k], levels[k + 1], values[k], values[k + 1]);
    return lookUp<ushort, ushort>({srcDst, step}, plane, size, table.get(), 16);
}

IppStatus ippiImageRamp_8u_C1R(uchar* dst, int dstStep, IppiSize size, float offset, float slope, IppiAxis axis) {
    return ramp<uchar>({dst, dstStep}, size, offset, slope, axis);
}
IppStatus ippiImageRamp_16u_C1R(ushort* dst, int dstStep, IppiSize size, float offset, float slope, IppiAxis axis) {
    return ramp<ushort>({dst, dstStep}, size, offset, slope, axis);
}
