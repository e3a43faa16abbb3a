#include "kestrova/filters/guided_upsize.h"

#include <opencv2/imgproc.hpp>

#include <string>
#include <vector>

#include "bench/support/bench.h"

#ifdef KESTROVA_HAVE_XIMGPROC
#include <opencv2/ximgproc/edge_filter.hpp>
#endif

// Guided enlarging to the sizes named, in 16 bits; beside it enlarging by OpenCV, and the same followed by ximgproc's
// guided filter at the full size, in 8 bits.

namespace {

constexpr int kCubic = 4, kRadius = 4;
constexpr float kEps = 1e-4f;

cv::Mat noise(int rows, int cols, int type) {
    cv::Mat plane(rows, cols, type);
    cv::randu(plane, 0, CV_MAT_DEPTH(type) == CV_8U ? 256 : 65536);
    return plane;
}

std::vector<cv::Mat> colours(const BenchSize& s, int type) {
    return {noise(s.rows, s.cols, type), noise(s.rows, s.cols, type), noise(s.rows, s.cols, type)};
}

KESTROVA_BENCH(guidedUpsize) {
    for (const BenchSize& s : kBenchSizes) {
        const std::string size = std::string("/") + s.name;
        const std::size_t pixels = static_cast<std::size_t>(s.cols) * s.rows;
        for (bool useGuide : {true, false}) {
            const std::string kind = useGuide ? "" : " plain";
            benchRow(
                "upSize2XGuidedByY" + kind + size, 2 * pixels * 9 / 4,
                [=] {
                    cv::Mat guide = noise(s.rows, s.cols, CV_16UC1), low = noise(s.rows / 2, s.cols / 2, CV_16UC1), out;
                    return [=]() mutable { upSize2XGuidedByY(guide, low, out, useGuide, kCubic, kRadius, kEps); };
                },
                pixels);
            for (int n : {2, 4}) {
                const std::string factor = " by " + std::to_string(n);
                benchRow(
                    "upSizeNXGuidedByY" + kind + factor + size, 4 * pixels + 2 * pixels / (n * n),
                    [=] {
                        cv::Mat guide = noise(s.rows, s.cols, CV_16UC1), out;
                        cv::Mat low = noise(s.rows / n, s.cols / n, CV_16UC1);
                        return
                            [=]() mutable { upSizeNXGuidedByY(guide, low, out, n, useGuide, kCubic, kRadius, kEps); };
                    },
                    pixels);
                benchRow(
                    "upSizeNXGuidedByRGB" + kind + factor + size, 8 * pixels + 2 * pixels / (n * n),
                    [=] {
                        std::vector<cv::Mat> guide = colours(s, CV_16UC1);
                        cv::Mat low = noise(s.rows / n, s.cols / n, CV_16UC1), out;
                        return
                            [=]() mutable { upSizeNXGuidedByRGB(guide, low, out, n, useGuide, kCubic, kRadius, kEps); };
                    },
                    pixels);
            }
        }
        benchRow(
            "filterGuidedByRGB" + size, 10 * pixels,
            [=] {
                std::vector<cv::Mat> guide = colours(s, CV_16UC1);
                cv::Mat p = noise(s.rows, s.cols, CV_16UC1);
                return [=]() mutable { filterGuidedByRGB(guide, p, kRadius, kEps); };
            },
            pixels);
        benchRow("cv::resize cubic by 2" + size, 2 * pixels * 5 / 4, [=] {
            cv::Mat low = noise(s.rows / 2, s.cols / 2, CV_16UC1), out;
            return [=]() mutable { cv::resize(low, out, cv::Size(s.cols, s.rows), 0, 0, cv::INTER_CUBIC); };
        });
#ifdef KESTROVA_HAVE_XIMGPROC
        for (int channels : {1, 3}) {
            benchRow(
                "cv::resize by 2, ximgproc::guidedFilter, guides " + std::to_string(channels) + size,
                pixels * (4 * channels + 5) / 4,
                [=] {
                    cv::Mat guide = noise(s.rows, s.cols, CV_8UC(channels)), big, out;
                    cv::Mat low = noise(s.rows / 2, s.cols / 2, CV_8UC1);
                    return [=]() mutable {
                        cv::resize(low, big, guide.size(), 0, 0, cv::INTER_CUBIC);
                        cv::ximgproc::guidedFilter(guide, big, out, 2 * kRadius, static_cast<double>(kEps) * 255 * 255);
                    };
                },
                pixels);
        }
#endif
    }
}

}  // namespace
