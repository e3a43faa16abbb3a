#include "kestrova/image/tpimage.h"

#include <memory>
#include <opencv2/imgproc.hpp>

#include "bench/support/bench.h"

namespace {

cv::Mat randomMat(int rows, int cols, int type) {
    cv::Mat plane(rows, cols, type);
    cv::randu(plane, 0, CV_MAT_DEPTH(type) == CV_8U ? 256 : 65536);
    return plane;
}

std::shared_ptr<TPImage> randomImage(const BenchSize& s) {
    auto image = std::make_shared<TPImage>(s.cols, s.rows);
    cv::randu(image->m_Y, 0, 65536);
    cv::randu(image->m_Dr, 28000, 38000);
    cv::randu(image->m_Db, 28000, 38000);
    return image;
}

template <class Pixel>
struct ThreePlanes {
    cv::Mat mat[3];
    Pixel* pointer[3];
    int step;
    ThreePlanes(int rows, int cols) {
        for (int p = 0; p < 3; ++p) {
            mat[p] = randomMat(rows, cols, cv::DataType<Pixel>::type);
            pointer[p] = mat[p].template ptr<Pixel>();
        }
        step = static_cast<int>(mat[0].step);
    }
};

struct FullPlanes {
    ThreePlanes<ushort> in, out;
    explicit FullPlanes(const BenchSize& s) : in(s.rows, s.cols), out(s.rows, s.cols) {}
};

}  // namespace

KESTROVA_BENCH(tpimagePixelsIn) {
    for (const BenchSize& s : kBenchSizes) {
        const std::string size = std::string("/") + s.name;
        const std::size_t pixels = 1ull * s.cols * s.rows;
        const std::size_t image = pixels * 2 + pixels / 4 * 5;
        benchRow("convertFrom packed 8" + size, pixels * 4 + image, [s] {
            return [packed = randomMat(s.rows, s.cols, CV_8UC4), in = std::make_shared<TPImage>()] {
                in->convertFrom(packed.ptr(), packed.cols, packed.rows, static_cast<int>(packed.step));
            };
        });
        benchRow("cv::cvtColor BGRA to YUV 4:2:0 8" + size, pixels * 4 + pixels * 3 / 2, [s] {
            return [packed = randomMat(s.rows, s.cols, CV_8UC4), out = cv::Mat()]() mutable {
                cv::cvtColor(packed, out, cv::COLOR_BGRA2YUV_I420);
            };
        });
        benchRow("convertFrom packed 16" + size, pixels * 8 + image, [s] {
            return [packed = randomMat(s.rows, s.cols, CV_16UC4), in = std::make_shared<TPImage>()] {
                in->convertFrom(packed.ptr<ushort>(), packed.cols, packed.rows, static_cast<int>(packed.step / 2));
            };
        });
        benchRow("convertFrompRGB" + size, pixels * 6 + image, [s] {
            return [rgb = ThreePlanes<ushort>(s.rows, s.cols), in = std::make_shared<TPImage>(), s] {
                in->convertFrompRGB(rgb.pointer, s.cols, s.rows, rgb.step);
            };
        });
        benchRow("convertFrompRGB15U" + size, pixels * 6 + image, [s] {
            return [rgb = ThreePlanes<ushort>(s.rows, s.cols), in = std::make_shared<TPImage>(), s] {
                in->convertFrompRGB15U(rgb.pointer, s.cols, s.rows, rgb.step);
            };
        });
        benchRow("PRGB2Y" + size, pixels * 8, [s] {
            return [rgb = ThreePlanes<ushort>(s.rows, s.cols), y = cv::Mat()]() mutable {
                TPImage::PRGB2Y(rgb.mat[0], rgb.mat[1], rgb.mat[2], y);
            };
        });
        benchRow("PRGB15U2Y" + size, pixels * 8, [s] {
            return [rgb = ThreePlanes<ushort>(s.rows, s.cols), y = cv::Mat()]() mutable {
                TPImage::PRGB15U2Y(rgb.mat[0], rgb.mat[1], rgb.mat[2], y);
            };
        });
        benchRow("cv::cvtColor BGR to grey 16" + size, pixels * 8, [s] {
            return [bgr = randomMat(s.rows, s.cols, CV_16UC3), y = cv::Mat()]() mutable {
                cv::cvtColor(bgr, y, cv::COLOR_BGR2GRAY);
            };
        });
    }
}

KESTROVA_BENCH(tpimagePixelsOut) {
    for (const BenchSize& s : kBenchSizes) {
        const std::string size = std::string("/") + s.name;
        const std::size_t pixels = 1ull * s.cols * s.rows;
        benchRow("convertTo" + size, pixels * 3 + pixels * 4, [s] {
            return [image = randomImage(s), out = cv::Mat(s.rows, s.cols, CV_8UC4)]() mutable {
                image->convertTo(out.ptr(), static_cast<int>(out.step));
            };
        });
        benchRow("cv::cvtColor YUV 4:2:0 8 to BGRA" + size, pixels * 3 / 2 + pixels * 4, [s] {
            return [yuv = randomMat(s.rows * 3 / 2, s.cols, CV_8UC1), out = cv::Mat()]() mutable {
                cv::cvtColor(yuv, out, cv::COLOR_YUV2BGRA_I420);
            };
        });
        benchRow("convertTopRGB" + size, pixels * 3 + pixels * 6, [s] {
            return [image = randomImage(s), out = ThreePlanes<ushort>(s.rows, s.cols)] {
                image->convertTopRGB(out.pointer, out.step);
            };
        });
        benchRow("convertTopRGB15U" + size, pixels * 3 + pixels * 6, [s] {
            return [image = randomImage(s), out = ThreePlanes<ushort>(s.rows, s.cols)] {
                image->convertTopRGB15U(out.pointer, out.step);
            };
        });
        benchRow("convertToHalfpRGB" + size, pixels / 4 * (6 + 3), [s] {
            return [image = randomImage(s), out = ThreePlanes<uchar>(s.rows / 2, s.cols / 2)] {
                image->convertToHalfpRGB(out.pointer, out.step);
            };
        });
        benchRow("YDRDB2RGB" + size, pixels * 12, [s] {
            return [p = FullPlanes(s)]() mutable {
                TPImage::YDRDB2RGB(p.in.mat[0], p.in.mat[1], p.in.mat[2], p.out.mat[0], p.out.mat[1], p.out.mat[2]);
            };
        });
        benchRow("YDRDB2RGB in place" + size, pixels * 12, [s] {
            return [p = FullPlanes(s)]() mutable {
                TPImage::YDRDB2RGB(p.in.mat[0], p.in.mat[1], p.in.mat[2], p.in.mat[1], p.out.mat[1], p.in.mat[2]);
            };
        });
        benchRow("YDRDB2RGB15U" + size, pixels * 12, [s] {
            return [p = FullPlanes(s)]() mutable {
                TPImage().YDRDB2RGB15U(p.in.mat[0], p.in.mat[1], p.in.mat[2], p.out.mat[0], p.out.mat[1], p.out.mat[2]);
            };
        });
        benchRow("YDRDB2RGB8U" + size, pixels * 9, [s] {
            return [p = FullPlanes(s), out = ThreePlanes<uchar>(s.rows, s.cols)]() mutable {
                TPImage().YDRDB2RGB8U(p.in.mat[0], p.in.mat[1], p.in.mat[2], out.mat[0], out.mat[1], out.mat[2]);
            };
        });
    }
}

KESTROVA_BENCH(matRoi) {
    for (const BenchSize& s : kBenchSizes) {
        const std::string size = std::string("/") + s.name;
        const std::size_t bytes = 2ull * s.cols * s.rows;
        benchRow("MatRoi 1:1" + size, 2 * bytes, [s] {
            return [in = randomMat(s.rows, s.cols, CV_16UC1)] {
                benchmark::DoNotOptimize(TPImage::MatRoi(in, 0, 0, in.cols, in.rows, 1, false, false));
            };
        });
        benchRow("cv::Mat::clone 16" + size, 2 * bytes,
                 [s] { return [in = randomMat(s.rows, s.cols, CV_16UC1)] { benchmark::DoNotOptimize(in.clone()); }; });
        // Of the source, the rows that are sampled.
        for (int scale : {2, 3, 4})
            benchRow("MatRoi 1:" + std::to_string(scale) + size, bytes / scale + bytes / scale / scale, [s, scale] {
                return [in = randomMat(s.rows, s.cols, CV_16UC1), scale] {
                    benchmark::DoNotOptimize(
                        TPImage::MatRoi(in, 0, 0, in.cols / scale, in.rows / scale, scale, false, false));
                };
            });
        for (int scale : {1, 7})
            benchRow("MatRoi smooth 1:" + std::to_string(scale) + size, bytes + bytes / scale / scale, [s, scale] {
                return [in = randomMat(s.rows, s.cols, CV_16UC1), scale] {
                    benchmark::DoNotOptimize(
                        TPImage::MatRoi(in, 0, 0, in.cols / scale, in.rows / scale, scale, false, true));
                };
            });
    }
}
