#include "kestrova/rows/unit_plane.h"

#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/unit_scale.h"

namespace kestrova::rows {

using namespace frame;

namespace {

template <class T>
KESTROVA_KERNEL void scaleRow(const T* __restrict in, float scale, float* __restrict out, int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = static_cast<float>(in[x]) * scale;
}

// By our own rows, since `convertTo` runs on one thread.
template <class T>
cv::Mat scaled(const cv::Mat& plane, float scale) {
    cv::Mat unit(plane.size(), CV_32FC1);
    parallelRows(plane.rows, plane.cols,
                 [&](int r) noexcept { scaleRow(plane.ptr<T>(r), scale, unit.ptr<float>(r), plane.cols); });
    return unit;
}

}  // namespace

cv::Mat unitPlane(const cv::Mat& plane) {
    switch (plane.type()) {
        case CV_8UC1: return scaled<uchar>(plane, kPer255);
        case CV_16UC1: return scaled<ushort>(plane, kPer65535);
        default: return cv::Mat::zeros(plane.size(), CV_32FC1);
    }
}

}  // namespace kestrova::rows
