#include "kestrova/resample/resample.h"

#include <opencv2/imgproc.hpp>

#include "bench/support/bench.h"

namespace {

constexpr int kLinear = 2, kCubic = 4;

struct Plane {
    int type;
    const char* name;
};

template <class Work>
void row(const std::string& name, std::size_t pixelsMoved, cv::Size in, cv::Size out, int type, const Work& work) {
    benchRow(name, pixelsMoved * CV_ELEM_SIZE(type), [=] {
        const cv::Mat src(in, type, cv::Scalar(7));
        cv::Mat dst(out, type, cv::Scalar(0));
        return [=]() mutable { work(src, dst); };
    });
}

std::size_t pixels(cv::Size size) { return static_cast<std::size_t>(size.area()); }

KESTROVA_BENCH(resample) {
    for (const BenchSize& s : kBenchSizes) {
        const cv::Size large(s.cols, s.rows), half(s.cols / 2, s.rows / 2);
        for (const Plane& plane : {Plane{CV_8UC1, "/8u/"}, {CV_16UC1, "/16u/"}, {CV_32FC1, "/32f/"}}) {
            const std::string tail = plane.name + std::string(s.name);
            for (int interp : {kLinear, kCubic}) {
                const std::string form = interp == kLinear ? " linear" : " cubic";
                const int peer = interp == kLinear ? cv::INTER_LINEAR : cv::INTER_CUBIC;
                row("upSize2X" + form + tail, pixels(half) + pixels(large), half, large, plane.type,
                    [=](const cv::Mat& in, cv::Mat& out) { upSize2X(in, out, interp); });
                row("cv::resize by 2" + form + tail, pixels(half) + pixels(large), half, large, plane.type,
                    [=](const cv::Mat& in, cv::Mat& out) { cv::resize(in, out, out.size(), 0, 0, peer); });
            }
            row("upSize2X pyramid" + tail, pixels(half) + pixels(large), half, large, plane.type,
                [](const cv::Mat& in, cv::Mat& out) { upSize2X(in, out, kPyramidStep); });
            row("cv::pyrUp" + tail, pixels(half) + pixels(large), half, large, plane.type,
                [](const cv::Mat& in, cv::Mat& out) { cv::pyrUp(in, out, out.size()); });
            // By an even factor pixels are copied, as the nearest form of OpenCV does. Every n-th row is read, its
            // cache lines in full.
            row("downSize2X" + tail, pixels(half) + pixels(large) / 2, large, half, plane.type,
                [](const cv::Mat& in, cv::Mat& out) { downSize2X(in, out, kCubic); });
            row("cv::resize by 1/2 nearest" + tail, pixels(half) + pixels(large) / 2, large, half, plane.type,
                [](const cv::Mat& in, cv::Mat& out) { cv::resize(in, out, out.size(), 0, 0, cv::INTER_NEAREST); });
        }
        for (int n : {3, 4, 8}) {
            const cv::Size small(s.cols / n, s.rows / n);
            const std::size_t read = n % 2 == 0 ? pixels(large) / static_cast<std::size_t>(n) : pixels(large);
            const std::string by = std::to_string(n);
            row("downSizeNX by " + by + "/16u/" + s.name, pixels(small) + read, large, small, CV_16UC1,
                [=](const cv::Mat& in, cv::Mat& out) { downSizeNX(in, out, n, kCubic); });
            row("upSizeNX by " + by + "/16u/" + s.name, pixels(small) + pixels(large), small, large, CV_16UC1,
                [=](const cv::Mat& in, cv::Mat& out) { upSizeNX(in, out, n, kCubic); });
            row("cv::resize by " + by + " cubic/16u/" + s.name, pixels(small) + pixels(large), small, large, CV_16UC1,
                [](const cv::Mat& in, cv::Mat& out) { cv::resize(in, out, out.size(), 0, 0, cv::INTER_CUBIC); });
        }
        row("extendBorder/16u/" + std::string(s.name), 2 * 16 * static_cast<std::size_t>(s.cols + s.rows), large, large,
            CV_16UC1, [](const cv::Mat&, cv::Mat& out) { extendBorder(out, 8, 8, 8, 8); });
    }
}

}  // namespace
