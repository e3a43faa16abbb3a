#include "scene.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int kCentreX = 160, kCentreY = 96, kRadius = 60;
constexpr int kLevel = 48;  // columns of even ground

double scaleOf(const cv::Mat& plane) { return plane.depth() == CV_8U ? 255 : plane.depth() == CV_16U ? 65535 : 1; }

}  // namespace

Scene::Scene() : pixels(4 * kWidth * kHeight) {
    for (cv::Mat* plane : {&red, &green, &blue}) plane->create(kHeight, kWidth, CV_16UC1);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            const bool disc = std::hypot(x - kCentreX, y - kCentreY) < kRadius;
            const double woven = 1 + 0.04 * std::sin(2.1 * x) * std::sin(1.7 * y);
            const double light = (disc ? 1 : 0.35 + 0.2 * std::max(0, x - kLevel) / kWidth) * woven;
            const double colour[] = {disc ? 40.0 : 60.0, disc ? 90.0 : 150.0, disc ? 220.0 : 70.0};  // blue, green, red
            cv::Mat* const planes[] = {&blue, &green, &red};
            for (int c = 0; c < 3; ++c) {
                const auto byte = static_cast<unsigned char>(std::lround(light * colour[c]));
                pixels[4 * (y * kWidth + x) + c] = byte;
                planes[c]->at<ushort>(y, x) = static_cast<ushort>(byte << 8);
            }
            pixels[4 * (y * kWidth + x) + 3] = 255;
        }
    picture.convertFrom(pixels.data(), kWidth, kHeight, 4 * kWidth);
    cv::addWeighted(red, 0.5, picture.m_Y, -0.5, 32768, fullDr);
}

double psnr(const cv::Mat& a, const cv::Mat& b) {
    const double error = cv::norm(a, b, cv::NORM_L2) / std::sqrt(static_cast<double>(a.total()));
    return std::min(99.9, 20 * std::log10(scaleOf(a) / error));
}

double weave(const cv::Mat& plane) {
    cv::Scalar mean, deviation;
    cv::meanStdDev(plane(cv::Rect(8, 8, 24, 24)), mean, deviation);
    return 100 * deviation[0] / mean[0];
}

double rim(const cv::Mat& plane) {
    const cv::Mat inside = plane(cv::Rect(kCentreX - kRadius + 3, kCentreY - 8, 4, 16));
    const cv::Mat outside = plane(cv::Rect(kCentreX - kRadius - 6, kCentreY - 8, 4, 16));
    return 100 * (cv::mean(inside)[0] - cv::mean(outside)[0]) / scaleOf(plane);
}
