#include "kestrova/filters/local_laplacian.h"

#include <cmath>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "bench/support/bench.h"

// The three forms with 6 levels, beside the pyramids of as many channels (and of one) by OpenCV.
// Besides time and copies of the plane (read once, written once): nanoseconds per pixel, per pixel and level, and the
// peak of memory per pixel above what the process holds before.

namespace {

constexpr int kLevels = 6;

/// Shapes of constant brightness under soft light with some noise.
cv::Mat picture(int rows, int cols) {
    cv::Mat plane(rows, cols, CV_16UC1);
    std::uint32_t random = 1;
    for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < cols; ++x) {
            random = random * 1664525u + 1013904223u;
            const double u = 6.0 * x / cols, v = 6.0 * y / rows;
            const double shape = std::sin(u * v) + std::cos(3 * u - v) > 0.2 ? 40000 : 15000;
            plane.at<ushort>(y, x) =
                static_cast<ushort>(shape + 8000 * std::sin(u) * std::cos(v) + 2000.0 * (random >> 8) / (1 << 24));
        }
    }
    return plane;
}

/// A row with 1 thread and one with all; `work(in, out)` has `levels` levels.
template <class Work>
void rows(const std::string& name, const BenchSize& size, int levels, const Work& work) {
    for (int threads : {1, omp_get_num_procs()}) {
        const std::string full = "local_laplacian/" + name + "/" + size.name + "/threads:" + std::to_string(threads);
        benchmark::RegisterBenchmark(full.c_str(),
                                     [=](benchmark::State& state) {
                                         omp_set_num_threads(threads);
                                         cv::setNumThreads(threads);
                                         const cv::Mat in = picture(size.rows, size.cols);
                                         cv::Mat out = in.clone();
                                         const double pixels = static_cast<double>(in.total());
                                         state.counters["bytes/pixel"] = peakBytes([&] { work(in, out); }) / pixels;
                                         const double copy = bench_detail::copySeconds(in.total() * 4);
                                         double total = 0;
                                         for (auto _ : state) {
                                             const double start = omp_get_wtime();
                                             work(in, out);
                                             const double seconds = omp_get_wtime() - start;
                                             state.SetIterationTime(seconds);
                                             total += seconds;
                                         }
                                         const double seconds = total / static_cast<double>(state.iterations());
                                         state.counters["copies"] = seconds / copy;
                                         state.counters["ns/px"] = seconds / pixels * 1e9;
                                         state.counters["ns/px/level"] = seconds / pixels / levels * 1e9;
                                     })
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
}

/// The pyramids of `channels` remapped pictures by OpenCV alone, levels less enlarged coarser levels, on whole planes.
/// This is the part of the filter that OpenCV has; table and choice are not in it.
template <int channels>
void opencvPyramid(const cv::Mat& in, cv::Mat& out) {
    cv::Mat fine, coarse, raised;
    cv::merge(std::vector<cv::Mat>(channels, in), fine);
    for (int level = 1; level < kLevels; ++level) {
        cv::pyrDown(fine, coarse);
        cv::pyrUp(coarse, raised, fine.size());
        cv::addWeighted(fine, 1.0, raised, -1.0, 32767.0, fine);
        if (level == 1) cv::extractChannel(fine, out, 0);
        fine = coarse.clone();
    }
}

KESTROVA_BENCH(localLaplacian) {
    for (const BenchSize& size : kBenchSizes) {
        auto filter = std::make_shared<LocalLaplacian>();
        rows("proc10K", size, kLevels,
             [=](const cv::Mat& in, cv::Mat& out) { filter->proc10K(in, out, 0.3f, 0.3f, kLevels); });
        rows("proc16K", size, kLevels,
             [=](const cv::Mat& in, cv::Mat& out) { filter->proc16K(in, out, 0.3f, 0.3f, kLevels); });
        rows("proc24K", size, kLevels,
             [=](const cv::Mat& in, cv::Mat& out) { filter->proc24K(in, out, 0.3f, 0.3f, kLevels); });
        rows("opencvPyramid1", size, kLevels, opencvPyramid<1>);
        rows("opencvPyramid10", size, kLevels, opencvPyramid<10>);
        rows("opencvPyramid16", size, kLevels, opencvPyramid<16>);
        rows("opencvPyramid24", size, kLevels, opencvPyramid<24>);
    }
}

}  // namespace
