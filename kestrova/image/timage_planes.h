#pragma once

#include <memory>

#include "kestrova/frame/failure.h"
#include "kestrova/image/timage.h"
#include "kestrova/rows/plane.h"

// The planes of a `TImage` as row work takes them. Internal.

namespace kestrova::image {

/// A plane of an image; one that has no memory is a failure. The step of a view may be negative.
template <class Element>
rows::Plane<Element> planeOf(TImage& image, int plane = 0) {
    if (!image.dataPtr(0, 0, plane)) frame::fail("ERROR - TImage - plane==NULL");
    return {reinterpret_cast<Element*>(image.dataPtr(0, 0, plane)), image.step()};
}
/// The same, to read.
template <class Element>
rows::Plane<const Element> planeOf(const TImage& image, int plane = 0) {
    const rows::Plane<Element> mutablePlane = planeOf<Element>(const_cast<TImage&>(image), plane);
    return {mutablePlane.elements, mutablePlane.step};
}

/// The planes that an image of some kind and size has of its own.
struct OwnPlanes {
    std::shared_ptr<void> blocks[2];
    int step = 0;

    /// Planes for which there is no memory stay null.
    OwnPlanes(TImage::IMTYPE type, const TSize& size);
    /// Whether there was memory for all planes of that kind.
    bool complete(TImage::IMTYPE type) const;
};

/// The image that a conversion writes. It gets its size when nothing is left to fail: `resized` comes last.
class OutputImage {
public:
    /// Takes the memory; throws `noMemory`, a literal, if there is none.
    OutputImage(TImage& image, const TSize& size, const char* noMemory);

    /// True if the pixels can be written: a view keeps the size that it has, which may be too small.
    bool largeEnough() const;
    template <class Element>
    rows::Plane<Element> plane(int p = 0) const {
        if (!m_new) return planeOf<Element>(m_image, p);
        return {static_cast<Element*>(m_new->blocks[p].get()), m_new->step};
    }
    /// The effect of `TImage::resize`.
    void resized();

private:
    TImage& m_image;
    TSize m_size;
    std::unique_ptr<OwnPlanes> m_new;  // null where the image keeps what it has
};

}  // namespace kestrova::image
