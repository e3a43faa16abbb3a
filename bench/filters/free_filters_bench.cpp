#include "kestrova/filters/free_filters.h"

#include <opencv2/imgproc.hpp>
#include <string>

#include "bench/primitives/planes.h"
#include "kestrova/image/timage.h"

namespace {

const char* nameOf(int type) { return type == CV_8UC1 ? "8u" : type == CV_16UC1 ? "16u" : "32f"; }

std::shared_ptr<TImage> noise(TImage::IMTYPE kind, const BenchSize& size) {
    auto image = std::make_shared<TImage>(kind, TSize(size.cols, size.rows));
    for (int plane = 0; plane < 2; ++plane) {
        cv::Mat pixels = image->toMat(plane);
        cv::randu(pixels, 0, pixels.depth() == CV_8U ? 256 : 65536);
    }
    return image;
}

void boxRows(const std::string& name, TImage::IMTYPE kind, int radius, int iterations) {
    for (const BenchSize& size : kBenchSizes) {
        const std::size_t pixels = static_cast<std::size_t>(size.rows) * static_cast<std::size_t>(size.cols);
        benchRow(
            "tFilterBox " + name + "/" + size.name, 4 * pixels,
            [=] {
                const auto in = noise(kind, size), out = noise(kind, size);
                return [=] { tFilterBox(in.get(), out.get(), radius, iterations, nullptr); };
            },
            pixels);
    }
}

KESTROVA_BENCH(freeFilters) {
    for (int radius : {1, 10, 53, 54, 500}) {
        const std::string ofRadius = " radius " + std::to_string(radius);
        for (int iterations : {1, 3}) {
            const std::string name = ofRadius + " x " + std::to_string(iterations);
            boxRows("Y" + name, TImage::IM_Y16U, radius, iterations);
            boxRows("C" + name, TImage::IM_C8U, radius, iterations);
        }
        for (int type : {CV_16UC1, CV_8UC1}) {
            planesRow(std::string("cv::blur ") + nameOf(type) + ofRadius, 2 * CV_ELEM_SIZE(type), {type, type},
                      [=](BenchPlanes& p, IppiSize) {
                          cv::blur(p[0].region, p[1].region, {2 * radius + 1, 2 * radius + 1}, {-1, -1},
                                   cv::BORDER_REFLECT_101);
                      });
        }
    }

    for (int type : {CV_8UC1, CV_16UC1, CV_32FC1}) {
        const std::size_t bytes = CV_ELEM_SIZE(type);
        planesRow(
            std::string("blendAlpha ") + nameOf(type), 3 * bytes + 1, {type, type, CV_8UC1, type},
            [](BenchPlanes& p, IppiSize) { blendAlpha(p[0].region, p[1].region, p[2].region, p[3].region, 0.9f); });
        planesRow(
            std::string("cv::addWeighted ") + nameOf(type), 3 * bytes, {type, type, type},
            [](BenchPlanes& p, IppiSize) { cv::addWeighted(p[0].region, 0.3, p[1].region, 0.7, 0, p[2].region); });
    }
    planesRow("cv::blendLinear 32f", 20, {CV_32FC1, CV_32FC1, CV_32FC1, CV_32FC1, CV_32FC1},
              [](BenchPlanes& p, IppiSize) {
                  cv::blendLinear(p[0].region, p[1].region, p[2].region, p[3].region, p[4].region);
              });

    planesRow("blendC", 2, {CV_8UC1, CV_8UC1}, [](BenchPlanes& p, IppiSize size) {
        blendC(p[0], p[0].step, p[1], p[1].step, size.width, size.height, 1.3f);
    });
    planesRow("cv::convertScaleAbs 8u", 2, {CV_8UC1, CV_8UC1},
              [](BenchPlanes& p, IppiSize) { cv::convertScaleAbs(p[0].region, p[1].region, 1.3); });

    planesRow("extremeSharpen", 4, {CV_16UC1, CV_16UC1},
              [](BenchPlanes& p, IppiSize) { extremeSharpen(p[0].region, p[1].region); });
    planesRow("cv::erode and cv::dilate 16u", 8, {CV_16UC1, CV_16UC1, CV_16UC1}, [](BenchPlanes& p, IppiSize) {
        cv::erode(p[0].region, p[1].region, cv::Mat());
        cv::dilate(p[0].region, p[2].region, cv::Mat());
    });
}

}  // namespace
