#include "kestrova/filters/conv_pyr.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <vector>

#include "bench/support/bench.h"

// The pyramid with kernels of 5, 5 and 3 taps; beside it the same with OpenCV's filter, whole planes at every step, and
// OpenCV's own Gaussian pyramid down and up.

namespace {

struct Kernels {
    cv::Mat k1 = (cv::Mat_<float>(1, 5) << 0.15f, 0.68f, 1.03f, 0.68f, 0.15f);
    cv::Mat k2 = (cv::Mat_<float>(1, 5) << 0.0075f, 0.034f, 0.052f, 0.034f, 0.0075f);
    cv::Mat k3 = (cv::Mat_<float>(1, 3) << 0.03f, 0.78f, 0.03f);
};

cv::Mat picture(const BenchSize& s, int type) {
    cv::Mat plane(s.rows, s.cols, type);
    cv::randu(plane, 0, 255);
    return plane;
}

int levelsOf(const cv::Mat& in) {
    int levels = 1;
    for (int m = std::max(in.rows, in.cols); m >= 2; m /= 2) ++levels;
    return levels;
}

cv::Mat filtered(const cv::Mat& in, const cv::Mat& k) {
    cv::Mat out;
    cv::sepFilter2D(in, out, CV_32F, k, k, {-1, -1}, 0, cv::BORDER_CONSTANT);
    return out;
}

void sepFilterPyramid(const cv::Mat& in, const Kernels& k, cv::Mat& out) {
    const int levels = levelsOf(in);
    std::vector<cv::Mat> down = {in};
    for (int l = 1; l < levels; ++l) {
        cv::Mat half;
        const cv::Mat whole = filtered(down.back(), k.k1);
        cv::resize(whole, half, {(whole.cols + 1) / 2, (whole.rows + 1) / 2}, 0, 0, cv::INTER_NEAREST);
        down.push_back(half);
    }
    cv::Mat up = filtered(down.back(), k.k3);
    for (int l = levels - 1; l > 0; --l) {
        const cv::Mat& source = down[static_cast<std::size_t>(l) - 1];
        cv::Mat zeros = cv::Mat::zeros(source.size(), CV_32FC1);
        for (int y = 0; y < up.rows; ++y)
            for (int x = 0; x < up.cols; ++x) zeros.at<float>(2 * y, 2 * x) = up.at<float>(y, x);
        cv::add(filtered(source, k.k3), filtered(zeros, k.k2), up);
    }
    up.copyTo(out);
}

KESTROVA_BENCH(convPyr) {
    for (const BenchSize& s : kBenchSizes) {
        const std::string size = std::string("/") + s.name;
        const std::size_t pixels = static_cast<std::size_t>(s.cols) * s.rows, bytes = 8 * pixels;
        const auto proc = [s](int type) {
            return [s, type] {
                cv::Mat in = picture(s, type), out;
                const Kernels k;
                ConvPyr pyramid(k.k1, k.k2, k.k3);
                return [=]() mutable { pyramid.proc(in, out); };
            };
        };
        benchRow("ConvPyr::proc float" + size, bytes, proc(CV_32FC1), pixels);
        benchRow("ConvPyr::proc 8-bit" + size, 5 * pixels, proc(CV_8UC1), pixels);
        benchRow("ConvPyr::pyrDown" + size, 5 * pixels, [s] {
            cv::Mat in = picture(s, CV_32FC1), out;
            const Kernels k;
            ConvPyr pyramid(k.k1, k.k2, k.k3);
            return [=]() mutable { pyramid.pyrDown(in, out); };
        });
        benchRow("ConvPyr::pyrUp" + size, 9 * pixels, [s] {
            cv::Mat in = picture(s, CV_32FC1), low = picture({"", s.cols / 2, s.rows / 2}, CV_32FC1), out;
            const Kernels k;
            ConvPyr pyramid(k.k1, k.k2, k.k3);
            return [=]() mutable { pyramid.pyrUp(low, in, out); };
        });
        benchRow(
            "the same with cv::sepFilter2D" + size, bytes,
            [s] {
                cv::Mat in = picture(s, CV_32FC1), out;
                return [=]() mutable { sepFilterPyramid(in, {}, out); };
            },
            pixels);
        benchRow(
            "cv::pyrDown and cv::pyrUp, all levels" + size, bytes,
            [s] {
                cv::Mat in = picture(s, CV_32FC1);
                std::vector<cv::Mat> levels(static_cast<std::size_t>(levelsOf(in))), up(levels.size());
                return [=]() mutable {
                    levels[0] = in;
                    for (std::size_t l = 1; l < levels.size(); ++l) cv::pyrDown(levels[l - 1], levels[l]);
                    up.back() = levels.back();
                    for (std::size_t l = levels.size() - 1; l > 0; --l)
                        cv::pyrUp(up[l], up[l - 1], levels[l - 1].size());
                };
            },
            pixels);
    }
}

}  // namespace
