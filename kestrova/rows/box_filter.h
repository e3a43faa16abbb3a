#pragma once

#include "kestrova/rows/window.h"

namespace kestrova::rows {

/// The means of `ippiFilterBox` over a region that has been checked (`checkRegion`, `checkWindow`), for `uchar`,
/// `ushort` and `float`; a window has fewer than 2^32 cells. Throws `std::bad_alloc`, with nothing written. Internal.
template <class Element>
void filterBox(Plane<const Element> src, Plane<Element> dst, IppiSize size, const Window& window);

/// The same in place.
template <class Element>
void filterBoxInPlace(Plane<Element> srcDst, IppiSize size, const Window& window);

}  // namespace kestrova::rows
