#include "kestrova/curves/tlut_y.h"

#include <cmath>
#include <memory>
#include <string>

#include "bench/support/bench.h"
#include "kestrova/detail/tlightadjlutvl.h"

namespace {

// A rule as cheap as a rule can be: what is measured is the library's part.
class Swap final : public TLutYDrDb {
public:
    explicit Swap(int nc) : TLutYDrDb(nc) {}
    void mapPixel(ushort&, uchar& dr, uchar& db) override { std::swap(dr, db); }
};

// Slow waves with a little noise: neighbouring pixels are alike, as in a photograph.
cv::Mat waves(const BenchSize& size, int type, double middle, double height, double noiseHeight) {
    cv::Mat plane(size.rows, size.cols, type);
    unsigned noise = 1;
    for (int y = 0; y < size.rows; ++y) {
        const double phase = std::cos(y / 90.0);
        for (int x = 0; x < size.cols; ++x) {
            noise = noise * 1664525u + 1013904223u;
            const double value = middle + height * phase * std::sin(x / 110.0) + noiseHeight * (noise >> 16) / 65536.0;
            if (type == CV_8UC1)
                plane.at<uchar>(y, x) = static_cast<uchar>(value);
            else
                plane.at<ushort>(y, x) = static_cast<ushort>(value);
        }
    }
    return plane;
}

void lightRow(const BenchSize& size) {
    const std::size_t pixels = std::size_t(size.cols) * std::size_t(size.rows);
    benchRow(std::string("TLightAdjLUTvl::proc/") + size.name, 4 * pixels, [=] {
        auto light = std::make_shared<TLightAdjLUTvl>();
        light->setupCurve(0.1f, 0.2f, -0.3f, 0.4f, 0.1f, 0.2f);
        cv::Mat y = waves(size, CV_16UC1, 32768, 25000, 1000);
        return [=]() mutable { light->proc(y, true); };
    });
}

void chromaRow(const BenchSize& size, int nc) {
    const std::size_t pixels = std::size_t(size.cols) * std::size_t(size.rows);
    const std::string name = "TLutYDrDb::applyCLUT of " + std::to_string(1 << nc) + " tables/" + size.name;
    benchRow(name, (nc > 0 ? 6 : 4) * pixels, [=] {
        auto lut = std::make_shared<Swap>(nc);
        lut->computeLUT();
        const cv::Mat y = waves(size, CV_16UC1, 32768, 25000, 1000);
        const cv::Mat dr = waves(size, CV_8UC1, 128, 40, 4), db = waves(size, CV_8UC1, 120, 30, 4);
        cv::Mat outDr = dr.clone(), outDb = db.clone();
        return [=]() mutable { lut->applyCLUT(y, dr, db, outDr, outDb); };
    });
}

KESTROVA_BENCH(tlut_y) {
    for (const BenchSize& size : kBenchSizes) {
        lightRow(size);
        chromaRow(size, 0);
        chromaRow(size, 4);
    }
    benchRow("TLightAdjLUTvl table", 131072, [] {
        auto light = std::make_shared<TLightAdjLUTvl>();
        return [=] {
            light->setupCurve(0.1f, 0.2f, -0.3f, 0.4f, 0.1f, 0.2f);
            light->computeLUT16U(true);
        };
    });
    benchRow("TLutYDrDb::computeLUT of 16 tables", 17 * 131072, [] {
        auto lut = std::make_shared<Swap>(4);
        return [=] { lut->computeLUT(); };
    });
}

}  // namespace
