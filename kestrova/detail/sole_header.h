#pragma once

#include <opencv2/core.hpp>

namespace kestrova::detail {

/// Whether nobody else sees the pixels of `plane`: no other header on them exists, within the engine, in its copies or
/// with the host. False for pixels that OpenCV does not own, such as a host's buffer. Internal.
inline bool isSoleHeader(const cv::Mat& plane) { return plane.u != nullptr && plane.u->refcount == 1; }

}  // namespace kestrova::detail
