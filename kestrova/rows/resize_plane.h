#pragma once

#include "kestrova/rows/plane.h"
#include "kestrova/rows/resize_axis.h"

namespace kestrova::rows {

/// How a resize samples: the axes, and how many source pixels a destination pixel takes along each.
struct Sampling {
    ResizeAxis x, y;
    int taps;  ///< 1 nearest, 2 linear, 4 cubic
};

/// The resampling of `ippiResizeSqrPixel` into `roi`, for `uchar`, `ushort` and `float`; all arguments have been
/// checked. Throws `std::bad_alloc`, with nothing written. Internal.
template <class Element>
void resizePlane(Plane<const Element> src, Plane<Element> dst, const IppiRect& roi, const Sampling& sampling);

}  // namespace kestrova::rows
