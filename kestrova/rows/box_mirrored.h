#pragma once

#include <cstdint>
#include <vector>

#include "kestrova/frame/parallel.h"
#include "kestrova/rows/window.h"

namespace kestrova::rows {

/// A whole plane, continued beyond its first and last row by its mirror image, the row at the edge itself counting
/// once.
template <class Element>
struct MirroredRows {
    Plane<const Element> plane;
    int height;

    const Element* row(int y) const;
};

/// `ippiFilterBox` of a square window of side 2 `radius` + 1 over whole planes whose edges are mirrored, the pixel at
/// the edge itself counting once (`cv::BORDER_REFLECT_101`), without a copy that has the margins. For `uchar` and
/// `ushort`; the size is positive, `radius` is 0..90. The constructor takes all memory and throws `std::bad_alloc`.
/// Internal.
template <class Element>
class MirroredBox {
public:
    MirroredBox(IppiSize size, int radius);

    /// Means of `src` into `dst`, which is the same plane or does not overlap it.
    void filter(Plane<const Element> src, Plane<Element> dst) noexcept;

private:
    /// What a strip works with: the sums of its columns, margins included, and its rows as they were.
    struct StripWork {
        Scratch<std::uint32_t> sums;
        OriginalRows<Element, MirroredRows<Element>> originals;
    };

    template <class Rows>
    void filterStrip(Rows& rows, Plane<Element> dst, int first, int end, std::uint32_t* margin) const noexcept;

    IppiSize m_size;
    int m_radius;
    Window m_window;
    frame::Strips m_strips;
    std::vector<StripWork> m_work;
};

}  // namespace kestrova::rows
