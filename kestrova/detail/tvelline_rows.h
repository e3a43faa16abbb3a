#pragma once

#include <opencv2/core/hal/interface.h>

#include <memory>

// Row kernels of the detail engine. Rows have `n` pixels. Internal.

namespace kestrova::detail {

/// Colour mixed into luminance is y + (db kb + dr kr) + k0.
struct ChromaMix {
    float kr, kb, k0;
};

/// Mixes chroma into luminance `from`, rounded and clamped. `to` may be `from`.
void mixChromaRow(const uchar* dr, const uchar* db, const ChromaMix& mix, const ushort* from, ushort* to,
                  int n) noexcept;
/// The same of 16-bit chroma.
void mixChromaRow(const ushort* dr, const ushort* db, const ChromaMix& mix, const ushort* from, ushort* to,
                  int n) noexcept;

/// to = from + extra, all in the form of a detail plane. `to` may be `from`.
void addDetailRow(const ushort* extra, const ushort* from, ushort* to, int n) noexcept;

/// Blends the three curves' results `s`, `m`, `h` into `h` by the tonal zone of luminance `y`.
void mixZonesRow(const ushort* y, const ushort* s, const ushort* m, ushort* h, int n) noexcept;

/// The three curves of a scale as one table of two halves. In the lower half of luminance the highlights have no part
/// in the blend, in the upper half the shadows have none: so entry d of the table's lower half holds what the curves of
/// shadows and midtones make of detail d, entry d of its upper half what those of highlights and midtones make of it.
class ZoneCurves {
public:
    /// Of the three tables of 65536 entries.
    ZoneCurves(const ushort* shadows, const ushort* midtones, const ushort* highlights);
    /// The first of 2 x 65536 entries, what `curveZonesRow` reads.
    const unsigned* entries() const { return m_entries.get(); }

private:
    std::unique_ptr<unsigned[]> m_entries;
};

/// Passes the detail row `from` through the three curves and blends the results into `to` by the tonal zone of `y`:
/// three look-ups and `mixZonesRow` in one. `to` may be `from`.
void curveZonesRow(const ushort* y, const unsigned* zoneCurves, const ushort* from, ushort* to, int n) noexcept;

/// to = y + 2 (d0 + d1 + d2 - 3 x 32768), clamped. `to` may be `y`.
void addEdgesRow(const ushort* d0, const ushort* d1, const ushort* d2, const ushort* y, ushort* to, int n) noexcept;

}  // namespace kestrova::detail
