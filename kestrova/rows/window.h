#pragma once

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <new>

#include "kestrova/frame/parallel.h"
#include "kestrova/rows/plane.h"

namespace kestrova::rows {

using frame::Strips;

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

inline IppStatus checkWindow(IppiSize mask, IppiPoint anchor, IppiSize region) {
    if (mask.width <= 0 || mask.height <= 0 || mask.width > INT_MAX - region.width) return ippStsMaskSizeErr;
    if (anchor.x < 0 || anchor.x >= mask.width || anchor.y < 0 || anchor.y >= mask.height) return ippStsAnchorErr;
    return ippStsNoErr;
}

/// So many columns at a time are worked on where sums are kept between two passes: they stay in the first-level cache.
constexpr int kTile = 1024;

/// `rows` rows of `columns` elements that nobody has set; null if there is no memory.
template <class Element>
std::unique_ptr<Element[]> allocateScratch(std::size_t rows, int columns) {
    return std::unique_ptr<Element[]>(new (std::nothrow) Element[rows * static_cast<std::size_t>(columns)]);
}

/// The plane with its rows from the first covered column on.
template <class Element>
Plane<const Element> covered(Plane<const Element> plane, Window window) {
    return {plane.elements - window.left, plane.step};
}

/// The rows under the windows of a plane that is only read. `Rows` is the `covered` plane, or stands for it.
template <class Element, class Rows = Plane<const Element>>
class SourceRows {
public:
    explicit SourceRows(Rows rows) : m_rows(rows) {}

    SourceRows strip(const Strips&, int) const { return *this; }
    const Element* row(int y) const { return m_rows.row(y); }
    void keep(int) {}

private:
    Rows m_rows;
};

/// The same of a plane whose region is being overwritten, from top to bottom in every strip: its rows as they were.
/// Copies are held of the rows that a strip has passed, as far up as the windows of this row and the one before reach,
/// and of the rows around the strip, which belong to others: as many as the window is high.
template <class Element, class Rows = Plane<const Element>>
class OriginalRows {
public:
    OriginalRows(Rows rows, Window window, const Strips& strips)
        : m_rows(rows),
          m_window(window),
          m_copies(allocateScratch<Element>(static_cast<std::size_t>(window.height) * strips.count(), window.columns)) {
        if (!m_copies) return;
        for (int s = 0; s < strips.count(); ++s) {
            const Strip own = strip(strips, s);
            for (int y = own.first - window.above; y < own.first; ++y) own.copy(y);
            for (int y = own.end; y < own.end + window.below(); ++y) own.copy(y);
        }
    }

    bool allocated() const { return m_copies != nullptr; }

    struct Strip {
        const OriginalRows* all;
        Element* copies;
        int first, end;
        int next = first;

        const Element* row(int y) const { return y < next || y >= end ? copyOf(y) : all->m_rows.row(y); }

        /// To be called before row `y` is overwritten.
        void keep(int y) {
            copy(y);
            next = y + 1;
        }

        void copy(int y) const { std::memcpy(copyOf(y), all->m_rows.row(y), sizeof(Element) * all->m_window.columns); }

        Element* copyOf(int y) const {
            const int passed = all->m_window.above + 1;
            const int slot = y < end ? (y - first + passed) % passed : passed + y - end;
            return copies + static_cast<std::ptrdiff_t>(slot) * all->m_window.columns;
        }
    };

    Strip strip(const Strips& strips, int s) const {
        Element* copies = m_copies.get() + static_cast<std::ptrdiff_t>(s) * m_window.height * m_window.columns;
        return {this, copies, strips.first(s), strips.end(s)};
    }

private:
    Rows m_rows;
    Window m_window;
    std::unique_ptr<Element[]> m_copies;
};

}  // namespace kestrova::rows
