#include "kestrova/resample/chroma_upsize.h"

#include <opencv2/imgproc.hpp>

#include "bench/support/bench.h"

KESTROVA_BENCH(chromaUpsize) {
    for (const BenchSize& s : kBenchSizes) {
        const std::string size = std::string("/") + s.name;
        const std::size_t bytes = 2ull * s.cols * s.rows * 9 / 4;
        benchRow("upSize2XGuidedByYSimple" + size, bytes, [s] {
            cv::Mat guide(s.rows, s.cols, CV_16UC1), low(s.rows / 2, s.cols / 2, CV_16UC1), out;
            cv::randu(guide, 0, 65536);
            cv::randu(low, 0, 65536);
            return [=]() mutable { upSize2XGuidedByYSimple(guide, low, out); };
        });
        benchRow("cv::resize linear by 2" + size, 2ull * s.cols * s.rows * 5 / 4, [s] {
            cv::Mat low(s.rows / 2, s.cols / 2, CV_16UC1), out;
            cv::randu(low, 0, 65536);
            return [=]() mutable { cv::resize(low, out, cv::Size(s.cols, s.rows), 0, 0, cv::INTER_LINEAR); };
        });
    }
}
