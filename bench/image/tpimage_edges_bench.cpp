#include <opencv2/imgproc.hpp>

#include <string>

#include "bench/support/bench.h"
#include "kestrova/image/tpimage.h"
#include "kestrova/resample/resample.h"

namespace {

struct Edges : TPImage {
    using TPImage::applyFullToEdgeLUT;
    using TPImage::computeLUT;
    using TPImage::edgeToFull;
    using TPImage::fullToEdge;
};

// A picture with noise, its half-size form before and after a change, and its edges.
struct Scene {
    cv::Mat full, half, changed, edge, out;

    explicit Scene(const BenchSize& s) : full(s.rows, s.cols, CV_16UC1), half(s.rows / 2, s.cols / 2, CV_16UC1) {
        TPImage::provideEdgeTables();
        cv::Mat coarse(s.rows / 40, s.cols / 40, CV_16UC1), noise(s.rows, s.cols, CV_16UC1);
        cv::randu(coarse, 10000, 50000);
        cv::resize(coarse, full, full.size(), 0, 0, cv::INTER_CUBIC);
        cv::randu(noise, 0, 2000);
        full += noise;
        downSize2X(full, half, kPyramidStep);
        half.convertTo(changed, CV_16UC1, 0.7, 8000);
        Edges::fullToEdge(full, half, edge);
        out.create(full.size(), CV_16UC1);
    }
};

}  // namespace

KESTROVA_BENCH(tpimageEdges) {
    TPImage::provideEdgeTables();
    for (const BenchSize& s : kBenchSizes) {
        const std::string size = std::string("/") + s.name;
        const std::size_t pixels = 1ull * s.cols * s.rows;
        benchRow("applyFullToEdgeLUT" + size, pixels * 3,
                 [s] { return [p = Scene(s)]() mutable { Edges::applyFullToEdgeLUT(p.full, p.edge); }; });
        benchRow("fullToEdge" + size, pixels * 7 / 2,
                 [s] { return [p = Scene(s)]() mutable { Edges::fullToEdge(p.full, p.half, p.edge); }; });
        benchRow("edgeToFull gain 1" + size, pixels * 7 / 2,
                 [s] { return [p = Scene(s)]() mutable { Edges::edgeToFull(p.edge, p.half, p.out, 1.0f); }; });
        benchRow("edgeToFull gain 2" + size, pixels * 7 / 2,
                 [s] { return [p = Scene(s)]() mutable { Edges::edgeToFull(p.edge, p.half, p.out, 2.0f); }; });
        benchRow("edgeToFull by gradients" + size, pixels * 4, [s] {
            return [p = Scene(s)]() mutable { Edges::edgeToFull(p.edge, p.half, p.changed, p.out, 0.01f, 2.0f); };
        });
        benchRow("cv::pyrUp and add 16" + size, pixels * 13 / 2, [s] {
            return [p = Scene(s)]() mutable {
                cv::pyrUp(p.half, p.out, p.out.size());
                cv::add(p.out, p.full, p.out);
            };
        });
    }
    benchRow("TPImage::computeLUT", 65536 + 512, [] { return [] { Edges::computeLUT(); }; });
}
