#pragma once

#include <climits>
#include <cstddef>
#include <cstring>

#include "kestrova/rows/plane.h"
#include "kestrova/rows/scratch.h"

// What filters over a neighbourhood have in common. Internal.

namespace kestrova::rows {

/// What a neighbourhood filter covers: the mask around an output pixel, and the columns that the windows of a row of
/// the region cover together.
struct Window {
    int width, height;
    int left, above;
    int columns;

    Window(IppiSize mask, IppiPoint anchor, IppiSize region)
        : width(mask.width), height(mask.height), left(anchor.x), above(anchor.y), columns(region.width + width - 1) {}
    int below() const { return height - 1 - above; }
};

/// The status of a mask and an anchor over a region; columns and rows that they cover are counted in an `int`.
inline IppStatus checkWindow(IppiSize mask, IppiPoint anchor, IppiSize region) {
    if (mask.width <= 0 || mask.width > INT_MAX - region.width) return ippStsMaskSizeErr;
    if (mask.height <= 0 || mask.height > INT_MAX - region.height) return ippStsMaskSizeErr;
    if (anchor.x < 0 || anchor.x >= mask.width || anchor.y < 0 || anchor.y >= mask.height) return ippStsAnchorErr;
    return ippStsNoErr;
}

/// So many columns at a time are worked on where sums are kept between two passes: they stay in the first-level cache.
constexpr int kTileColumns = 1024;

/// The plane with its rows from the first covered column on.
template <class Element>
Plane<const Element> covered(Plane<const Element> plane, Window window) {
    return {plane.elements - window.left, plane.step};
}

/// The rows under the windows of a strip of a plane that is only read. `Rows` is the `covered` plane, or something that
/// has a `row(y)` like it.
template <class Element, class Rows = Plane<const Element>>
class SourceRows {
public:
    SourceRows(const Window&, int /*first*/, int /*end*/) {}

    void begin(Rows rows) { m_rows = rows; }
    const Element* row(int y) const { return m_rows.row(y); }
    void keep(int) {}

private:
    Rows m_rows{};
};

/// The same of a plane whose region is being overwritten, every strip from top to bottom: its rows as they were. Copies
/// are kept of two kinds of rows: those that the strip [first, end) has passed, as far up as the windows of this row
/// and the one before reach; and those above and below the strip, which other strips write. Together they are as many
/// as the window is high. The constructor takes all memory.
template <class Element, class Rows = Plane<const Element>>
class OriginalRows {
public:
    OriginalRows(const Window& window, int first, int end)
        : m_above(window.above),
          m_below(window.below()),
          m_first(first),
          m_end(end),
          m_columns(static_cast<std::size_t>(window.columns)),
          m_copies(static_cast<std::size_t>(window.height), m_columns) {}

    /// To be called for every strip before the first row is written.
    void begin(Rows rows) {
        m_rows = rows;
        m_next = m_first;
        for (int y = m_first - m_above; y < m_first; ++y) copy(y);
        for (int y = m_end; y < m_end + m_below; ++y) copy(y);
    }

    const Element* row(int y) const { return y < m_next || y >= m_end ? copyOf(y) : m_rows.row(y); }

    /// To be called before row `y` is overwritten.
    void keep(int y) {
        copy(y);
        m_next = y + 1;
    }

private:
    void copy(int y) { std::memcpy(copyOf(y), m_rows.row(y), sizeof(Element) * m_columns); }

    Element* copyOf(int y) const {
        const int passed = m_above + 1;
        const int slot = y < m_end ? (y - m_first + passed) % passed : passed + y - m_end;
        return m_copies.row(static_cast<std::size_t>(slot));
    }

    Rows m_rows{};
    int m_above, m_below;
    int m_first, m_end, m_next = 0;
    std::size_t m_columns;
    Scratch<Element> m_copies;
};

}  // namespace kestrova::rows
