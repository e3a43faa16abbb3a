#pragma once

#include <opencv2/core.hpp>

namespace kestrova::frame {

/// Whether nobody else sees the pixels of `plane`: no other header on them exists, within an object, in copies of it or
/// with the host. False for pixels that OpenCV does not own, such as a host's buffer. Internal.
inline bool isSoleHeader(const cv::Mat& plane) { return plane.u != nullptr && plane.u->refcount == 1; }

}  // namespace kestrova::frame
