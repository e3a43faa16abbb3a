#pragma once

#include <opencv2/core/hal/interface.h>

#include <vector>

namespace kestrova::detail {

/// Row kernels of the detail engine. Rows have `n` pixels. Internal.

/// Colour mixed into luminance is y + (db kb + dr kr) + k0.
struct ChromaMix {
    float kr, kb, k0;
};

void mixChromaRow(const uchar* dr, const uchar* db, const ChromaMix& mix, ushort* y, int n) noexcept;
void mixChromaRow(const ushort* dr, const ushort* db, const ChromaMix& mix, ushort* y, int n) noexcept;

/// d += extra, both in the form of a detail plane.
void addDetailRow(const ushort* extra, ushort* d, int n) noexcept;

/// Blends the three curves' results `s`, `m`, `h` into `h` by the tonal zone of luminance `y`.
void mixZonesRow(const ushort* y, const ushort* s, const ushort* m, ushort* h, int n) noexcept;

/// The three curves of a scale as one table. At a luminance below 128 x 256 highlights, above it shadows have no part
/// in the blend: the entry of a detail value in the lower half holds the results for shadows and midtones, in the upper
/// half those for highlights and midtones.
class ZoneCurves {
public:
    ZoneCurves(const ushort* shadows, const ushort* midtones, const ushort* highlights);
    const unsigned* entries() const { return m_entries.data(); }

private:
    std::vector<unsigned> m_entries;
};

/// Passes the detail row `d` through the three curves and blends the results into `d` by the tonal zone of `y`: three
/// look-ups and `mixZonesRow` in one.
void curveZonesRow(const ushort* y, const unsigned* zoneCurves, ushort* d, int n) noexcept;

/// y += 2 (d0 + d1 + d2 - 3 x 32768), clamped.
void addEdgesRow(const ushort* d0, const ushort* d1, const ushort* d2, ushort* y, int n) noexcept;

/// Two planes' rows to one of pairs, and back.
void interleaveRow(const ushort* first, const ushort* second, ushort* pairs, int n) noexcept;
void deinterleaveRow(const ushort* pairs, ushort* first, ushort* second, int n) noexcept;

}  // namespace kestrova::detail
