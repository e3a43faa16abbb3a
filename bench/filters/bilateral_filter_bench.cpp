#include "kestrova/filters/bilateral_filter.h"

#include <cmath>
#include <memory>
#include <string>

#include "bench/support/bench.h"

#ifdef KESTROVA_HAVE_XIMGPROC
#include <opencv2/ximgproc.hpp>
#endif

// The bilateral grid and the gradient guide beside a copy of the plane.

namespace {

/// Shapes of constant brightness under soft light with some noise.
cv::Mat picture(const BenchSize& size, int type, unsigned seed) {
    cv::Mat plane(size.rows, size.cols, type);
    const double scale = type == CV_8UC1 ? 255 : 65535;
    std::uint32_t random = seed;
    for (int y = 0; y < plane.rows; ++y) {
        for (int x = 0; x < plane.cols; ++x) {
            random = random * 1664525u + 1013904223u;
            const double u = 6.0 * x / size.cols, v = 6.0 * y / size.rows;
            const double shape = std::sin(u * v) + std::cos(3 * u - v) > 0.2 ? 0.55 : 0.25;
            const double value = shape + 0.2 * std::sin(u) * std::cos(v) + 0.03 * (random >> 8) / (1 << 24);
            if (type == CV_8UC1)
                plane.at<uchar>(y, x) = cv::saturate_cast<uchar>(value * scale);
            else
                plane.at<ushort>(y, x) = cv::saturate_cast<ushort>(value * scale);
        }
    }
    return plane;
}

KESTROVA_BENCH(bilateral) {
    for (const BenchSize& size : kBenchSizes) {
        const std::string at = std::string("/") + size.name;
        const std::size_t pixels = static_cast<std::size_t>(size.cols) * size.rows;
        for (int sampling : {16, 32}) {
            for (int depth : {CV_8U, CV_16U}) {
                const int range = depth == CV_8U ? 25 : 6500;
                const std::string what = "/sampling" + std::to_string(sampling) + (depth == CV_8U ? "/8u" : "/16u");
                benchRow(
                    "bilateral/proc" + what + at, 2 * pixels * (depth == CV_8U ? 1 : 2),
                    [=] {
                        cv::Mat plane = picture(size, CV_MAKETYPE(depth, 1), 1);
                        auto filter = std::make_shared<BilateralFilter>();
                        return [=]() mutable { filter->proc(cv::Mat(), plane, sampling, range, nullptr); };
                    },
                    pixels);
            }
        }
        benchRow(
            "bilateral/proc/sampling16/16u/otherGuide" + at, 4 * pixels,
            [=] {
                cv::Mat plane = picture(size, CV_16UC1, 1);
                const cv::Mat guide = picture(size, CV_16UC1, 2);
                auto filter = std::make_shared<BilateralFilter>();
                return [=]() mutable { filter->proc(guide, plane, 16, 6500, nullptr); };
            },
            pixels);
        for (int radius : {2, 8}) {
            benchRow(
                "bilateral/gradientGuide/radius" + std::to_string(radius) + "/16u" + at, 4 * pixels,
                [=] {
                    cv::Mat plane = picture(size, CV_16UC1, 1);
                    const cv::Mat guide = picture(size, CV_16UC1, 2);
                    return [=]() mutable { BilateralFilter::gradientGuide(guide, plane, radius); };
                },
                pixels);
        }
#ifdef KESTROVA_HAVE_XIMGPROC
        // A window of 16 pixels about each: what takes pixels of a comparable neighbourhood into account.
        benchRow(
            "bilateral/ximgproc_jointBilateralFilter/8u" + at, 2 * pixels,
            [=] {
                const cv::Mat plane = picture(size, CV_8UC1, 1);
                return [plane, out = cv::Mat()]() mutable {
                    cv::ximgproc::jointBilateralFilter(plane, plane, out, 17, 25 * 0.85, 16 * 0.85);
                };
            },
            pixels);
#endif
    }
}

}  // namespace
