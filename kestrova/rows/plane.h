#pragma once

#include <cstddef>
#include <type_traits>

#include "kestrova/frame/vendor_types.h"

// Planes as the primitives get them. Internal.

namespace kestrova::rows {

/// The first pixel of the region and the row step in bytes.
template <class Element>
struct Plane {
    Element* elements;
    int step;

    /// The first pixel of row `y` of the region.
    Element* row(int y) const {
        using Byte = std::conditional_t<std::is_const_v<Element>, const char, char>;
        return reinterpret_cast<Element*>(reinterpret_cast<Byte*>(elements) + static_cast<std::ptrdiff_t>(step) * y);
    }
};
template <class Element>
Plane(Element*, int) -> Plane<Element>;

/// The status of a region of `channels` interleaved elements in each of `planes`.
template <class... Elements>
IppStatus checkRegion(IppiSize size, int channels, const Plane<Elements>&... planes) {
    if (((planes.elements == nullptr) || ...)) return ippStsNullPtrErr;
    if (size.width <= 0 || size.height <= 0) return ippStsSizeErr;
    if (((planes.step <= 0 || planes.step % sizeof(Elements) != 0) || ...)) return ippStsStepErr;
    const auto elements = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(channels);
    if (((static_cast<std::size_t>(planes.step) < elements * sizeof(Elements)) || ...)) return ippStsRowStepErr;
    return ippStsNoErr;
}

}  // namespace kestrova::rows
