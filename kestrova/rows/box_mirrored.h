#pragma once

#include <cstddef>

#include "kestrova/frame/vendor_types.h"

namespace kestrova::rows {

/// `ippiFilterBox` of a square window of side 2 `radius` + 1 over a whole plane whose edges are mirrored, the edge
/// pixel itself counting once (`cv::BORDER_REFLECT_101`), without a copy that has them: the plane and the steps are
/// valid, the size is positive, `radius` is 0..90, source and destination are the same or do not overlap. Throws
/// `std::bad_alloc`.
void filterBoxMirrored(const uchar* src, std::size_t srcStep, uchar* dst, std::size_t dstStep, IppiSize size,
                       int radius);
void filterBoxMirrored(const ushort* src, std::size_t srcStep, ushort* dst, std::size_t dstStep, IppiSize size,
                       int radius);

}  // namespace kestrova::rows
