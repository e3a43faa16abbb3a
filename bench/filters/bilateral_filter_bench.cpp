#include "kestrova/filters/bilateral_filter.h"

#include <cmath>
#include <fstream>
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

double memoryKiB(const char* field) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        double kilobytes = 0;
        if (word == field && status >> kilobytes) return kilobytes;
    }
    return 0;
}

/// The peak of memory of one call beyond its planes, in bytes a pixel.
template <class Prepare>
void memoryRow(const std::string& name, const BenchSize& size, const Prepare& prepare) {
    benchmark::RegisterBenchmark((name + "/memory").c_str(),
                                 [=](benchmark::State& state) {
                                     omp_set_num_threads(omp_get_num_procs());
                                     cv::setNumThreads(omp_get_num_procs());
                                     auto work = prepare();
                                     std::ofstream("/proc/self/clear_refs") << 5;  // the peak begins anew
                                     const double before = memoryKiB("VmRSS:");
                                     for (auto _ : state) work();
                                     state.counters["bytesPerPixel"] = (memoryKiB("VmHWM:") - before) * 1024 /
                                                                       (static_cast<double>(size.cols) * size.rows);
                                 })
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
}

template <class Prepare>
void rows(const std::string& name, const BenchSize& size, std::size_t bytesMoved, const Prepare& prepare) {
    benchRow(name, bytesMoved, prepare);
    memoryRow(name, size, prepare);
}

KESTROVA_BENCH(bilateral) {
    for (const BenchSize& size : kBenchSizes) {
        const std::string at = std::string("/") + size.name;
        const std::size_t pixels = static_cast<std::size_t>(size.cols) * size.rows;
        for (int sampling : {16, 32}) {
            for (int depth : {CV_8U, CV_16U}) {
                const int range = depth == CV_8U ? 25 : 6500;
                const std::string what = "/sampling" + std::to_string(sampling) + (depth == CV_8U ? "/8u" : "/16u");
                rows("bilateral/proc" + what + at, size, 2 * pixels * (depth == CV_8U ? 1 : 2), [=] {
                    cv::Mat plane = picture(size, CV_MAKETYPE(depth, 1), 1);
                    auto filter = std::make_shared<BilateralFilter>();
                    return [=]() mutable { filter->proc(cv::Mat(), plane, sampling, range, nullptr); };
                });
            }
        }
        rows("bilateral/proc/sampling16/16u/otherGuide" + at, size, 4 * pixels, [=] {
            cv::Mat plane = picture(size, CV_16UC1, 1);
            const cv::Mat guide = picture(size, CV_16UC1, 2);
            auto filter = std::make_shared<BilateralFilter>();
            return [=]() mutable { filter->proc(guide, plane, 16, 6500, nullptr); };
        });
        for (int radius : {2, 8}) {
            rows("bilateral/gradientGuide/radius" + std::to_string(radius) + "/16u" + at, size, 4 * pixels, [=] {
                cv::Mat plane = picture(size, CV_16UC1, 1);
                const cv::Mat guide = picture(size, CV_16UC1, 2);
                return [=]() mutable { BilateralFilter::gradientGuide(guide, plane, radius); };
            });
        }
#ifdef KESTROVA_HAVE_XIMGPROC
        // A window of 16 pixels about each: what takes pixels of a comparable neighbourhood into account.
        rows("bilateral/ximgproc_jointBilateralFilter/8u" + at, size, 2 * pixels, [=] {
            const cv::Mat plane = picture(size, CV_8UC1, 1);
            return [plane, out = cv::Mat()]() mutable {
                cv::ximgproc::jointBilateralFilter(plane, plane, out, 17, 25 * 0.85, 16 * 0.85);
            };
        });
#endif
    }
}

}  // namespace
