#include "kestrova/image/roi.h"

#include <algorithm>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/plane_checks.h"

namespace kestrova::image {

using namespace frame;

cv::Mat regionOf(const cv::Mat& in, int x, int y, int w, int h, int scale) {
    checkPlane(in);
    if (scale < 1) fail("ERROR - TPImage::MatRoi - scale<1");
    if (x < 0 || y < 0 || w < 0 || h < 0) fail("ERROR - TPImage::MatRoi - x<0 || y<0 || w<0 || h<0");
    const bool empty = w == 0 || h == 0;
    const auto outside = [&](int from, int end) { return from > end || (from == end && !empty); };
    if (!in.data || outside(x, in.cols) || outside(y, in.rows))
        fail("ERROR - TPImage::MatRoi - the rectangle starts outside of the plane");
    const auto cut = [scale](int from, int count, int end) {
        return cv::Range(from, static_cast<int>(std::min<long long>(1LL * count * scale + from, end)));
    };
    return in(cut(y, h, in.rows), cut(x, w, in.cols));
}

}  // namespace kestrova::image
