#include "gradients.h"

#include <algorithm>
#include <cmath>

namespace {

//! [integrated]
/// Integrates gradients: the plane whose Laplacian is `divergence` (CV_32FC1), with the kernels of Farbman, Fattal and
/// Lischinski, "Convolution Pyramids" (2011), section 4.1.
cv::Mat integrated(const cv::Mat& divergence) {
    const cv::Mat around = (cv::Mat_<float>(1, 5) << 0.15f, 0.5f, 0.7f, 0.5f, 0.15f);
    const cv::Mat own = (cv::Mat_<float>(1, 3) << 0.175f, 0.547f, 0.175f);
    // The sum of shifted kernels is minus the integral.
    cv::Mat negative;
    ConvPyr(around, around, own).proc(divergence, negative);
    return -negative;
}
//! [integrated]

}  // namespace

//! [pyramid]
cv::Mat withoutFaintGradients(const cv::Mat& Y, float threshold) {
    // The pyramid sees zero outside its plane at every level; a margin gives the coarse levels the room they need.
    const int margin = std::max(Y.rows, Y.cols) / 4 + 1;
    cv::Mat divergence(Y.rows + 2 * margin, Y.cols + 2 * margin, CV_32FC1, cv::Scalar(0));
    cv::Mat inner = divergence(cv::Rect(margin, margin, Y.cols, Y.rows));
    const auto addFaint = [threshold](int difference, float& from, float& to) {
        const auto gradient = static_cast<float>(difference / 65535.0);
        if (std::abs(gradient) >= threshold) return;
        from += gradient;
        to -= gradient;
    };
    for (int y = 0; y < Y.rows; ++y)
        for (int x = 0; x < Y.cols; ++x) {
            const int here = Y.at<ushort>(y, x);
            float& at = inner.at<float>(y, x);
            if (x + 1 < Y.cols) addFaint(Y.at<ushort>(y, x + 1) - here, at, inner.at<float>(y, x + 1));
            if (y + 1 < Y.rows) addFaint(Y.at<ushort>(y + 1, x) - here, at, inner.at<float>(y + 1, x));
        }
    cv::Mat result;
    const cv::Mat faint = integrated(divergence)(cv::Rect(margin, margin, Y.cols, Y.rows));
    cv::addWeighted(Y, 1, faint, -65535, 65535 * cv::mean(faint)[0], result, CV_16U);
    return result;
}
//! [pyramid]
