#pragma once

#include "kestrova/rows/window.h"

// Minima and maxima over a neighbourhood, of regions that have been checked (`checkRegion`, `checkWindow`), for `uchar`
// and `ushort`. They throw `std::bad_alloc`, with nothing written. Internal.

namespace kestrova::rows {

/// Which of the extremes is looked for.
enum class Extreme { kMinimum, kMaximum };

/// The extremes over the cells where the mask, rows of `window.width` bytes without gaps, is not 0; false, with nothing
/// written, for a mask of zeros alone. Source and destination do not overlap.
template <class Element>
bool filterExtremes(Extreme extreme, Plane<const Element> src, Plane<Element> dst, IppiSize size, const uchar* mask,
                    const Window& window);

/// In place, over 3 by 3 pixels.
template <class Element>
void filterExtremes3x3(Extreme extreme, Plane<Element> srcDst, IppiSize size);

}  // namespace kestrova::rows
