#include "kestrova/curves/tlut_tables.h"

#include <memory>
#include <opencv2/core.hpp>
#include <string>

#include "bench/support/bench.h"
#include "kestrova/image/timage.h"

namespace {

constexpr std::size_t kTableBytes = 131072;

std::shared_ptr<TImage> noise(const BenchSize& size) {
    auto image = std::make_shared<TImage>(TImage::IM_Y16U, TSize(size.cols, size.rows));
    cv::Mat pixels = image->toMat(0);
    cv::randu(pixels, 0, 65536);
    return image;
}

/// Linear tables: the image stays, so that every run looks up the same.
template <class Lut>
void applyRow(const std::string& name, const BenchSize& size, const std::shared_ptr<Lut>& lut) {
    lut->setLinear();
    benchRow(name + "/" + size.name, std::size_t{4} * size.cols * size.rows, [=] {
        const auto image = noise(size);
        return [=] { lut->apply(*image); };
    });
}

KESTROVA_BENCH(tableHolders) {
    for (const BenchSize& size : kBenchSizes) {
        applyRow("TLutY::apply", size, std::make_shared<TLutY>());
        applyRow("TLutC::apply", size, std::make_shared<TLutC>(4));
        benchRow(std::string("TLutC::apply of two images/") + size.name, std::size_t{2} * size.cols * size.rows, [=] {
            const auto lut = std::make_shared<TLutC>(1);
            const auto image = noise(size);
            return [=] { lut->apply(*image, *image); };
        });
        benchRow(std::string("cv::LUT of bytes/") + size.name, std::size_t{2} * size.cols * size.rows, [=] {
            cv::Mat in(size.rows, size.cols, CV_8UC1), out(size.rows, size.cols, CV_8UC1, cv::Scalar(0));
            cv::randu(in, 0, 256);
            const cv::Mat table(1, 256, CV_8UC1, cv::Scalar(7));
            return [=]() mutable { cv::LUT(in, table, out); };
        });
    }
    benchRow("TLutC of 32 tables", 32 * kTableBytes, [] {
        return [] {
            TLutC lut(32);
            lut.setLinear();
            benchmark::DoNotOptimize(lut.ptr(31));
        };
    });
}

}  // namespace
