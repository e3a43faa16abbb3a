#include "kestrova/image/timage.h"

#include <memory>
#include <opencv2/imgproc.hpp>

#include "bench/support/bench.h"

namespace {

cv::Mat randomMat(int rows, int cols, int type) {
    cv::Mat plane(rows, cols, type);
    cv::randu(plane, 0, CV_MAT_DEPTH(type) == CV_8U ? 256 : 65536);
    return plane;
}

std::shared_ptr<TImage> randomImage(TImage::IMTYPE type, int cols, int rows) {
    auto image = std::make_shared<TImage>(type, TSize(cols, rows));
    for (int p = 0; p < (type == TImage::IM_C8U ? 2 : 1); ++p) {
        cv::Mat pixels = image->toMat(p);
        cv::randu(pixels, 0, pixels.depth() == CV_8U ? 256 : 65536);
    }
    return image;
}

// The three images of a picture.
struct Ycm {
    std::shared_ptr<TImage> y, c, m;
    explicit Ycm(const BenchSize& s)
        : y(randomImage(TImage::IM_Y16U, s.cols, s.rows)),
          c(randomImage(TImage::IM_C8U, s.cols / 2, s.rows / 2)),
          m(randomImage(TImage::IM_M8U, s.cols / 2, s.rows / 2)) {}
};

std::size_t ycmBytes(std::size_t pixels) { return pixels * 2 + pixels / 4 * 3; }

}  // namespace

KESTROVA_BENCH(timagePixels) {
    for (const BenchSize& s : kBenchSizes) {
        const std::string size = std::string("/") + s.name;
        const std::size_t pixels = 1ull * s.cols * s.rows;
        benchRow("TImage::TImage(const TImage&) RGBA8U" + size, pixels * 8, [s] {
            return [in = randomImage(TImage::IM_RGBA8U, s.cols, s.rows)] { benchmark::DoNotOptimize(TImage(*in)); };
        });
        benchRow("TImage::copyFrom RGBA8U" + size, pixels * 8, [s] {
            return [in = randomImage(TImage::IM_RGBA8U, s.cols, s.rows),
                    out = std::make_shared<TImage>(TImage::IM_RGBA8U, TSize())] { out->copyFrom(*in); };
        });
        benchRow("cv::Mat::clone 8UC4" + size, pixels * 8,
                 [s] { return [in = randomMat(s.rows, s.cols, CV_8UC4)] { benchmark::DoNotOptimize(in.clone()); }; });
        benchRow("TImage::fromMat Y16U" + size, pixels * 4, [s] {
            return [in = randomMat(s.rows, s.cols, CV_16UC1), out = randomImage(TImage::IM_Y16U, s.cols, s.rows)] {
                out->fromMat(in, 0);
            };
        });
        benchRow("cv::Mat::copyTo 16UC1" + size, pixels * 4, [s] {
            return [in = randomMat(s.rows, s.cols, CV_16UC1), out = cv::Mat()]() mutable { in.copyTo(out); };
        });
        benchRow("TImage::swapC4RBCannel RGBA8U" + size, pixels * 8,
                 [s] { return [image = randomImage(TImage::IM_RGBA8U, s.cols, s.rows)] { image->swapC4RBCannel(); }; });
        benchRow("cv::cvtColor BGRA to RGBA 8" + size, pixels * 8, [s] {
            return [image = randomMat(s.rows, s.cols, CV_8UC4), out = cv::Mat()]() mutable {
                cv::cvtColor(image, out, cv::COLOR_BGRA2RGBA);
            };
        });
        benchRow("TImage::swapC4RBCannel RGBA16U" + size, pixels * 16, [s] {
            return [image = randomImage(TImage::IM_RGBA16U, s.cols, s.rows)] { image->swapC4RBCannel(); };
        });
        benchRow("cv::cvtColor BGRA to RGBA 16" + size, pixels * 16, [s] {
            return [image = randomMat(s.rows, s.cols, CV_16UC4), out = cv::Mat()]() mutable {
                cv::cvtColor(image, out, cv::COLOR_BGRA2RGBA);
            };
        });
        benchRow("TImage::halfY8U" + size, pixels * 2 + pixels / 4, [s] {
            return [y = randomImage(TImage::IM_Y16U, s.cols, s.rows)] { benchmark::DoNotOptimize(y->halfY8U()); };
        });
        benchRow("cv::resize area 1:2 16" + size, pixels * 2 + pixels / 2, [s] {
            return [y = randomMat(s.rows, s.cols, CV_16UC1), out = cv::Mat()]() mutable {
                cv::resize(y, out, cv::Size(), 0.5, 0.5, cv::INTER_AREA);
            };
        });
        benchRow("TImage::rgba8uTo16u" + size, pixels * 12, [s] {
            return [in = randomImage(TImage::IM_RGBA8U, s.cols, s.rows),
                    out = std::make_shared<TImage>(TImage::IM_RGBA16U, TSize())] { TImage::rgba8uTo16u(*in, *out); };
        });
        benchRow("cv::Mat::convertTo 8 to 16" + size, pixels * 12, [s] {
            return [in = randomMat(s.rows, s.cols, CV_8UC4), out = cv::Mat()]() mutable {
                in.convertTo(out, CV_16U, 257);
            };
        });
        benchRow("TImage::rgba16uTo8u" + size, pixels * 12, [s] {
            return [in = randomImage(TImage::IM_RGBA16U, s.cols, s.rows),
                    out = std::make_shared<TImage>(TImage::IM_RGBA8U, TSize())] { TImage::rgba16uTo8u(*in, *out); };
        });
        benchRow("cv::Mat::convertTo 16 to 8" + size, pixels * 12, [s] {
            return [in = randomMat(s.rows, s.cols, CV_16UC4), out = cv::Mat()]() mutable {
                in.convertTo(out, CV_8U, 1.0 / 257);
            };
        });
    }
}

KESTROVA_BENCH(timageColour) {
    for (const BenchSize& s : kBenchSizes) {
        const std::string size = std::string("/") + s.name;
        const std::size_t pixels = 1ull * s.cols * s.rows, ycm = ycmBytes(pixels);
        benchRow("TImage::bgra8uToTImage" + size, pixels * 4 + ycm, [s] {
            return [bgra = randomMat(s.rows, s.cols, CV_8UC4), out = Ycm(s)] {
                TImage::bgra8uToTImage(bgra.ptr(), static_cast<int>(bgra.step), bgra.cols, bgra.rows, *out.y, *out.c,
                                       *out.m);
            };
        });
        benchRow("TImage::rgba8uToYCM" + size, pixels * 4 + ycm, [s] {
            return [in = randomImage(TImage::IM_RGBA8U, s.cols, s.rows), out = Ycm(s)] {
                TImage::rgba8uToYCM(*in, *out.y, *out.c, *out.m);
            };
        });
        benchRow("cv::cvtColor RGBA to YUV 4:2:0 8" + size, pixels * 4 + pixels * 3 / 2, [s] {
            return [in = randomMat(s.rows, s.cols, CV_8UC4), out = cv::Mat()]() mutable {
                cv::cvtColor(in, out, cv::COLOR_RGBA2YUV_I420);
            };
        });
        benchRow("TImage::rgba16uToYCM" + size, pixels * 8 + ycm, [s] {
            return [in = randomImage(TImage::IM_RGBA16U, s.cols, s.rows), out = Ycm(s)] {
                TImage::rgba16uToYCM(*in, *out.y, *out.c, *out.m);
            };
        });
        benchRow("cv::cvtColor RGB to YUV 16" + size, pixels * 12, [s] {
            return [in = randomMat(s.rows, s.cols, CV_16UC3), out = cv::Mat()]() mutable {
                cv::cvtColor(in, out, cv::COLOR_RGB2YUV);
            };
        });
        benchRow("TImage::timageToBgra8u" + size, pixels * 4 + ycm, [s] {
            return [in = Ycm(s), bgra = randomMat(s.rows, s.cols, CV_8UC4)]() mutable {
                TImage::timageToBgra8u(*in.y, *in.c, *in.m, bgra.ptr(), static_cast<int>(bgra.step));
            };
        });
        benchRow("TImage::YCMToRgba8u" + size, pixels * 4 + ycm, [s] {
            return [in = Ycm(s), out = randomImage(TImage::IM_RGBA8U, s.cols, s.rows)] {
                TImage::YCMToRgba8u(*in.y, *in.c, *in.m, *out);
            };
        });
        benchRow("cv::cvtColor YUV 4:2:0 8 to RGBA" + size, pixels * 4 + pixels * 3 / 2, [s] {
            return [in = randomMat(s.rows * 3 / 2, s.cols, CV_8UC1), out = cv::Mat()]() mutable {
                cv::cvtColor(in, out, cv::COLOR_YUV2RGBA_I420);
            };
        });
        benchRow("TImage::YCMToRgba16u" + size, pixels * 8 + ycm, [s] {
            return [in = Ycm(s), out = randomImage(TImage::IM_RGBA16U, s.cols, s.rows)] {
                TImage::YCMToRgba16u(*in.y, *in.c, *in.m, *out);
            };
        });
        benchRow("three cv::resize cubic 2:1 8 and cv::cvtColor YUV to RGB 16" + size, pixels * 8 + ycm, [s] {
            return
                [in = Ycm(s), yuv = randomMat(s.rows, s.cols, CV_16UC3), full = cv::Mat(), rgb = cv::Mat()]() mutable {
                    for (const cv::Mat& half : {in.c->toMat(0), in.c->toMat(1), in.m->toMat(0)})
                        cv::resize(half, full, yuv.size(), 0, 0, cv::INTER_CUBIC);
                    cv::cvtColor(yuv, rgb, cv::COLOR_YUV2RGB);
                };
        });
        benchRow("TImage::updateCfromYChange" + size, pixels * 4 + pixels, [s] {
            return [before = Ycm(s), after = Ycm(s)] {
                TImage::updateCfromYChange(*before.y, *before.c, *after.y, *after.c, 0.1f);
            };
        });
    }
}
