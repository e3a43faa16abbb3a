#include "kestrova/detail/tvelline_rows.h"

#include <algorithm>

#include "kestrova/frame/kernel.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/zero16.h"
#include "kestrova/rows/lookup_row.h"

namespace kestrova::detail {

using namespace frame;

namespace {

// The three weights of a tonal zone, by i, the high byte of luminance, are
//     shadows     S(i) = max(255 - 3 i, 0), 1 more for i < 8
//     midtones    M(i) = min(3 i, 256), from i = 78 min(3 i + 1, 256); above i = 127 M(255 - i)
//     highlights  H(i) = S(255 - i)
// so that with j = min(i, 255 - i) one end of the scale, shadows below 128 and highlights above, weighs S(j), the
// midtones M(j), and the other end nothing. The sum is 256, for j from 8 to 77 it is 255: a blend needs no clamp.
// All in 16 bits, for as many pixels in a vector: the blend of signed details is the sum of that of their high bytes
// and that of their low bytes, the latter less than 2^16. Its 256th is rounded towards zero.
inline ushort blendZones(ushort y, ushort end, ushort mid) {
    const ushort i = y >> 8, fromTop = static_cast<ushort>(255 - i);
    const ushort j = i < fromTop ? i : fromTop;
    const ushort j3 = static_cast<ushort>(3 * j);
    ushort endWeight = static_cast<ushort>((j3 < 255 ? 255 - j3 : 0) + (j < 8));
    ushort midWeight = static_cast<ushort>(j3 + (j >= 78));
    midWeight = midWeight < 256 ? midWeight : 256;
    const short endDetail = static_cast<short>(end - kZero16), midDetail = static_cast<short>(mid - kZero16);
    const ushort high = static_cast<ushort>((endDetail >> 8) * endWeight + (midDetail >> 8) * midWeight);
    const ushort low = static_cast<ushort>((endDetail & 255) * endWeight + (midDetail & 255) * midWeight);
    const short below = static_cast<short>(high + (low >> 8));
    const ushort towardsZero = below < 0 && (low & 255) != 0;
    return static_cast<ushort>(below + towardsZero + kZero16);
}

template <class Chroma>
inline ushort mixChroma(Chroma dr, Chroma db, const ChromaMix& mix, ushort y) {
    return sat16((static_cast<float>(db) * mix.kb + static_cast<float>(dr) * mix.kr) + mix.k0 + static_cast<float>(y));
}

unsigned zoneEntry(ushort end, ushort mid) { return end | static_cast<unsigned>(mid) << 16; }

KESTROVA_KERNEL void zoneIndices(const ushort* __restrict y, const ushort* __restrict d, unsigned* __restrict indices,
                                 int n) noexcept {
    for (int x = 0; x < n; ++x) indices[x] = d[x] + ((y[x] & 0x8000u) << 1);
}

KESTROVA_KERNEL void blendEntries(const ushort* __restrict y, const unsigned* __restrict entries, ushort* __restrict to,
                                  int n) noexcept {
    for (int x = 0; x < n; ++x)
        to[x] = blendZones(y[x], static_cast<ushort>(entries[x]), static_cast<ushort>(entries[x] >> 16));
}

}  // namespace

KESTROVA_KERNEL void mixChromaRow(const uchar* dr, const uchar* db, const ChromaMix& mix, const ushort* from,
                                  ushort* to, int n) noexcept {
    KESTROVA_INDEPENDENT
    for (int x = 0; x < n; ++x) to[x] = mixChroma(dr[x], db[x], mix, from[x]);
}

KESTROVA_KERNEL void mixChromaRow(const ushort* dr, const ushort* db, const ChromaMix& mix, const ushort* from,
                                  ushort* to, int n) noexcept {
    KESTROVA_INDEPENDENT
    for (int x = 0; x < n; ++x) to[x] = mixChroma(dr[x], db[x], mix, from[x]);
}

KESTROVA_KERNEL void addDetailRow(const ushort* extra, const ushort* from, ushort* to, int n) noexcept {
    KESTROVA_INDEPENDENT
    for (int x = 0; x < n; ++x) to[x] = clamp16(from[x] + extra[x] - kZero16);
}

KESTROVA_KERNEL void mixZonesRow(const ushort* y, const ushort* s, const ushort* m, ushort* h, int n) noexcept {
    for (int x = 0; x < n; ++x) h[x] = blendZones(y[x], y[x] < kZero16 ? s[x] : h[x], m[x]);
}

ZoneCurves::ZoneCurves(const ushort* shadows, const ushort* midtones, const ushort* highlights)
    : m_entries(new unsigned[1 << 17]) {
    unsigned* lower = m_entries.get();
    unsigned* upper = lower + (1 << 16);
    for (int d = 0; d < 1 << 16; ++d) {
        lower[d] = zoneEntry(shadows[d], midtones[d]);
        upper[d] = zoneEntry(highlights[d], midtones[d]);
    }
}

// Not a kernel as a whole: a look-up in a vector takes longer than a plain one.
void curveZonesRow(const ushort* y, const unsigned* zoneCurves, const ushort* from, ushort* to, int n) noexcept {
    constexpr int kChunk = 256;
    unsigned entries[kChunk];
    for (int x = 0; x < n; x += kChunk) {
        const int count = std::min(kChunk, n - x);
        zoneIndices(y + x, from + x, entries, count);
        rows::lookUpRow(entries, entries, count, zoneCurves);
        blendEntries(y + x, entries, to + x, count);
    }
}

KESTROVA_KERNEL void addEdgesRow(const ushort* d0, const ushort* d1, const ushort* d2, const ushort* y, ushort* to,
                                 int n) noexcept {
    KESTROVA_INDEPENDENT
    for (int x = 0; x < n; ++x) to[x] = clamp16(y[x] + 2 * (d0[x] + d1[x] + d2[x] - 3 * kZero16));
}

}  // namespace kestrova::detail
