#include <array>
#include <memory>
#include <optional>

#include "kestrova/kestrova.h"
#include "tests/memory/operation.h"
#include "tests/support/planes.h"

namespace {

constexpr int kWidth = 23, kHeight = 18;

cv::Mat packed8() { return randomPlane(kHeight, kWidth, CV_8UC4, 5); }
cv::Mat packed16() { return randomPlane(kHeight, kWidth, CV_16UC4, 6); }

/// Three planes, and their addresses as the interface takes them.
template <class Pixel>
struct Planes {
    explicit Planes(cv::Size size, std::uint32_t seed = 7) {
        for (int i = 0; i < 3; ++i) {
            planes[i] = randomPlane(size.height, size.width, cv::DataType<Pixel>::type, seed + i);
            data[i] = planes[i].ptr<Pixel>();
        }
    }
    Seen seen() const { return Seen().plane(planes[0]).plane(planes[1]).plane(planes[2]); }
    int step() const { return static_cast<int>(planes[0].step); }

    std::array<cv::Mat, 3> planes;
    Pixel* data[3];
};

Seen seenOf(const TPImage& image) {
    return Seen().plane(image.m_Y).plane(image.m_Dr).plane(image.m_Db).plane(image.m_mask);
}
Seen formOf(const TPImage& image) {
    return Seen().form(image.m_Y).form(image.m_Dr).form(image.m_Db).form(image.m_mask);
}

/// A picture of that size, 0 by 0 for none.
std::shared_ptr<TPImage> picture(int width, int height) {
    const auto image = std::make_shared<TPImage>();
    const cv::Mat pixels = randomPlane(height, width, CV_8UC4, 11);
    if (width > 0) image->convertFrom(pixels.data, width, height, static_cast<int>(pixels.step));
    return image;
}

template <class Work>
Operation onPicture(const std::string& name, int width, int height, Work work) {
    return {name, [=] {
                const auto image = picture(width, height);
                return Attempt{[=] { work(*image); }, [=] { return seenOf(*image); }};
            }};
}

template <class Pixel, class Work>
Operation ofPicture(const std::string& name, cv::Size size, Work work) {
    return {name, [=] {
                const auto image = picture(kWidth, kHeight);
                const auto out = std::make_shared<Planes<Pixel>>(size);
                return Attempt{[=] { work(*image, *out); }, [=] { return out->seen(); }};
            }};
}

template <class Work>
Operation intoPlane(const std::string& name, const cv::Mat& before, Work work) {
    return {name, [=] {
                const auto out = std::make_shared<cv::Mat>(before.clone());
                return Attempt{[=] { work(*out); }, [=] { return Seen().plane(*out); }};
            }};
}

Operation roi(const std::string& name, int type, int scale, bool smooth) {
    return intoPlane("TPImage_MatRoi_" + name, randomPlane(3, 3, CV_8UC1),
                     [=, in = randomPlane(90, 110, type, 0, 200)](cv::Mat& out) {
                         out = TPImage::MatRoi(in, 0, 0, 100 / scale, 80 / scale, scale, false, smooth);
                     });
}

struct Edges : TPImage {
    using TPImage::applyFullToEdgeLUT;
    using TPImage::edgeToFull;
    using TPImage::fullToEdge;
    using TPImage::provideEdgeTables;
};

}  // namespace

std::vector<Operation> imageOperations() {
    std::vector<Operation> operations;
    const Planes<ushort> in({kWidth, kHeight});
    for (const auto& [where, width, height] :
         {std::tuple("New", 0, 0), std::tuple("Larger", 9, 7), std::tuple("Fitting", kWidth, kHeight)}) {
        const std::string after = std::string("_") + where;
        operations.push_back(
            onPicture("TPImage_convertFrom8" + after, width, height, [pixels = packed8()](TPImage& image) {
                image.convertFrom(pixels.data, kWidth, kHeight, static_cast<int>(pixels.step));
            }));
        operations.push_back(
            onPicture("TPImage_convertFrom16" + after, width, height, [pixels = packed16()](TPImage& image) {
                image.convertFrom(pixels.ptr<ushort>(), kWidth, kHeight,
                                  static_cast<int>(pixels.step / sizeof(ushort)));
            }));
        operations.push_back(onPicture("TPImage_convertFrompRGB" + after, width, height, [in](TPImage& image) {
            image.convertFrompRGB(in.data, kWidth, kHeight, in.step());
        }));
        operations.push_back(onPicture("TPImage_convertFrompRGB15U" + after, width, height, [in](TPImage& image) {
            image.convertFrompRGB15U(in.data, kWidth, kHeight, in.step());
        }));
        operations.push_back(onPicture("TPImage_copyTo" + after, width, height,
                                       [from = picture(kWidth, kHeight)](TPImage& to) { from->copyTo(to, true); }));
    }
    for (const auto& [where, width, height] : {std::tuple("New", 0, 0), std::tuple("Larger", 9, 7)}) {
        operations.push_back(
            {std::string("TPImage_create_") + where, [w = width, h = height] {
                 const auto image = picture(w, h);
                 return Attempt{[=] { image->create(kWidth, kHeight); }, [=] { return formOf(*image); }};
             }});
    }
    operations.push_back({"TPImage_TPImage", [] {
                              const auto image = std::make_shared<std::optional<TPImage>>();
                              return Attempt{[=] { image->emplace(kWidth, kHeight); },
                                             [=] { return *image ? formOf(**image) : Seen(); }};
                          }});
    operations.push_back({"TPImage_clone", [] {
                              const auto image = picture(kWidth, kHeight), copy = picture(5, 4);
                              return Attempt{[=] { *copy = image->clone(true); }, [=] { return seenOf(*copy); }};
                          }});

    const cv::Size full(kWidth, kHeight), half((kWidth + 1) / 2, (kHeight + 1) / 2);
    operations.push_back(ofPicture<ushort>("TPImage_convertTopRGB", full, [](TPImage& image, Planes<ushort>& out) {
        image.convertTopRGB(out.data, out.step());
    }));
    operations.push_back(ofPicture<ushort>("TPImage_convertTopRGB15U", full, [](TPImage& image, Planes<ushort>& out) {
        image.convertTopRGB15U(out.data, out.step());
    }));
    operations.push_back(ofPicture<uchar>("TPImage_convertToHalfpRGB", half, [](TPImage& image, Planes<uchar>& out) {
        image.convertToHalfpRGB(out.data, out.step());
    }));
    operations.push_back(ofPicture<uchar>("TPImage_YDRDB2RGB8U", full, [in](TPImage& image, Planes<uchar>& out) {
        image.YDRDB2RGB8U(in.planes[0], in.planes[1], in.planes[2], out.planes[0], out.planes[1], out.planes[2]);
    }));
    operations.push_back(ofPicture<ushort>("TPImage_YDRDB2RGB15U", full, [in](TPImage& image, Planes<ushort>& out) {
        image.YDRDB2RGB15U(in.planes[0], in.planes[1], in.planes[2], out.planes[0], out.planes[1], out.planes[2]);
    }));
    operations.push_back(ofPicture<ushort>("TPImage_YDRDB2RGB", full, [in](TPImage&, Planes<ushort>& out) {
        TPImage::YDRDB2RGB(in.planes[0], in.planes[1], in.planes[2], out.planes[0], out.planes[1], out.planes[2]);
    }));
    operations.push_back(intoPlane("TPImage_convertTo", packed8(), [from = picture(kWidth, kHeight)](cv::Mat& out) {
        from->convertTo(out.data, static_cast<int>(out.step));
    }));
    operations.push_back(intoPlane("TPImage_YDRDBToQImage", packed8(), [from = picture(kWidth, kHeight)](cv::Mat& out) {
        TPImage::YDRDBToQImage(from->m_Y, from->m_Dr, from->m_Db, out.data, kWidth, kHeight,
                               static_cast<int>(out.step));
    }));
    for (const auto& [where, before] : {std::pair("New", cv::Mat()), std::pair("Larger", randomPlane(3, 4, CV_8UC1)),
                                        std::pair("Fitting", randomPlane(kHeight, kWidth, CV_16UC1, 3))}) {
        operations.push_back(intoPlane(std::string("TPImage_PRGB2Y_") + where, before, [in](cv::Mat& out) {
            TPImage::PRGB2Y(in.planes[0], in.planes[1], in.planes[2], out);
        }));
        operations.push_back(intoPlane(std::string("TPImage_PRGB15U2Y_") + where, before, [in](cv::Mat& out) {
            TPImage::PRGB15U2Y(in.planes[0], in.planes[1], in.planes[2], out);
        }));
    }

    operations.push_back(roi("Plain1", CV_16UC1, 1, false));
    operations.push_back(roi("Plain3", CV_16UC1, 3, false));
    for (int scale : {1, 3, 8, 20, 60}) {
        operations.push_back(roi("Smooth16U" + std::to_string(scale), CV_16UC1, scale, true));
        operations.push_back(roi("Smooth8U" + std::to_string(scale), CV_8UC1, scale, true));
        operations.push_back(roi("Smooth32F" + std::to_string(scale), CV_32FC1, scale, true));
    }

    const cv::Mat before = randomPlane(4, 5, CV_16UC1), planeY = randomPlane(17, 23, CV_16UC1, 4);
    const cv::Mat planeHalf = randomPlane(9, 12, CV_16UC1, 5), otherHalf = randomPlane(9, 12, CV_16UC1, 6);
    const cv::Mat edge = randomPlane(17, 23, CV_8UC1);
    Edges::provideEdgeTables();
    operations.push_back(intoPlane("TPImage_applyFullToEdgeLUT", before,
                                   [=](cv::Mat& out) { Edges().applyFullToEdgeLUT(planeY, out); }));
    operations.push_back(intoPlane("TPImage_fullToEdge_Reduced", before,
                                   [=](cv::Mat& out) { Edges().fullToEdge(planeY, cv::Mat(), out); }));
    operations.push_back(intoPlane("TPImage_fullToEdge_Half", before,
                                   [=](cv::Mat& out) { Edges().fullToEdge(planeY, planeHalf, out); }));
    operations.push_back(
        intoPlane("TPImage_edgeToFull", before, [=](cv::Mat& out) { Edges().edgeToFull(edge, planeHalf, out, 2.0f); }));
    operations.push_back(intoPlane("TPImage_edgeToFull_New", before, [=](cv::Mat& out) {
        Edges().edgeToFull(edge, planeHalf, otherHalf, out, 0.01f, 2.0f);
    }));
    document(Thrown::kTextOrAllocators,
             {"TPImage_TPImage", "TPImage_create", "TPImage_clone", "TPImage_copyTo", "TPImage_MatRoi"}, operations);
    return operations;
}
