#pragma once

#include "kestrova/frame/failure.h"
#include "kestrova/image/timage.h"
#include "kestrova/rows/plane.h"

namespace kestrova::image {

/// A plane of a `TImage` as the primitives take it; one that has no memory is a failure. Internal.

inline void checkMemory(const TImage& image, int plane) {
    if (!image.dataPtr(0, 0, plane)) frame::fail("ERROR - TImage - plane==NULL");
}

template <class Element>
rows::Plane<const Element> planeOf(const TImage& image, int plane = 0) {
    checkMemory(image, plane);
    return {reinterpret_cast<const Element*>(image.dataPtr(0, 0, plane)), image.step()};
}

template <class Element>
rows::Plane<Element> planeOf(TImage& image, int plane = 0) {
    checkMemory(image, plane);
    return {reinterpret_cast<Element*>(image.dataPtr(0, 0, plane)), image.step()};
}

}  // namespace kestrova::image
