#pragma once

#include <opencv2/core.hpp>

#include <climits>
#include <cstdint>
#include <vector>

#include "kestrova/frame/failure.h"

// What every operation asks of a plane before it looks at its pixels. Internal.

namespace kestrova::frame {

/// True if elements of `size` bytes can be read at that address.
inline bool aligned(const void* address, std::size_t size) {
    return reinterpret_cast<std::uintptr_t>(address) % size == 0;
}
/// True if the element can be read at its address.
template <class Element>
bool aligned(const Element* address) {
    return aligned(address, alignof(Element));
}

/// Fails if elements of `plane` do not stand at multiples of their size: a view of 16 bits at an odd address, for one.
inline void checkElements(const cv::Mat& plane) {
    const std::size_t size = plane.elemSize1();
    if (!aligned(plane.data, size) || (plane.rows > 1 && plane.step[0] % size != 0))
        fail("ERROR - plane - data%elemSize1 || step%elemSize1");
}

/// Fails if `plane` is no plane of rows and columns, as arrays of three dimensions and more are not, which have -1 of
/// each; and as `checkElements`.
inline void checkPlane(const cv::Mat& plane) {
    if (plane.dims > 2) fail("ERROR - plane - dims>2");
    if (plane.rows < 0 || plane.cols < 0) fail("ERROR - plane - rows<0 || cols<0");
    checkElements(plane);
}
/// `checkPlane` of each plane.
inline void checkPlanes(const std::vector<cv::Mat>& planes) {
    for (const cv::Mat& plane : planes) checkPlane(plane);
}
/// `checkPlane` of each plane.
template <class... Planes>
void checkPlanes(const Planes&... planes) {
    (checkPlane(planes), ...);
}

/// The bytes from one row of `plane` to the next, as the primitives take them. Fails as `checkPlane`, and for steps of
/// 2^31 bytes and more.
inline int stepOf(const cv::Mat& plane) {
    checkPlane(plane);
    if (plane.step[0] > INT_MAX) fail("ERROR - plane - step>INT_MAX");
    return static_cast<int>(plane.step[0]);
}

}  // namespace kestrova::frame
