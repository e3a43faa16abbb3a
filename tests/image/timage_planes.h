#pragma once

#include <opencv2/core.hpp>

#include <cstdint>
#include <cstring>

#include "kestrova/image/timage.h"
#include "tests/support/planes.h"

/// Images of the tests' own planes, and the constants of Y, C, M.

inline float fromBits(std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

const float k299 = fromBits(0x3e991687u), k587 = fromBits(0x3f1645a2u), k114 = fromBits(0x3de978d5u);
const float k17035775 = fromBits(0x3fda0ed4u);
const float k1284 = fromBits(0x43006666u);

constexpr TImage::IMTYPE kKinds[] = {TImage::IM_Y16U, TImage::IM_C8U, TImage::IM_M8U, TImage::IM_RGBA8U,
                                     TImage::IM_RGBA16U};

inline int planeCountOf(TImage::IMTYPE type) { return type == TImage::IM_C8U ? 2 : 1; }

inline int pixelBytesOf(TImage::IMTYPE type) {
    const int bytes[] = {2, 1, 1, 4, 8};
    return bytes[type];
}

inline int matTypeOf(TImage::IMTYPE type) {
    const int types[] = {CV_16UC1, CV_8UC1, CV_8UC1, CV_8UC4, CV_16UC4};
    return types[type];
}

inline TImage imageOf(TImage::IMTYPE type, const cv::Mat& pixels, const cv::Mat& second = cv::Mat()) {
    TImage image(type, TSize(pixels.cols, pixels.rows));
    if (!pixels.empty()) pixels.copyTo(cv::Mat(image.toMat(0)));
    if (!second.empty()) second.copyTo(cv::Mat(image.toMat(1)));
    return image;
}

inline TImage randomImage(TImage::IMTYPE type, int width, int height, unsigned seed = 1) {
    const auto plane = [&](unsigned s) { return randomPlane(height, width, matTypeOf(type), s); };
    return imageOf(type, plane(seed), type == TImage::IM_C8U ? plane(seed + 1) : cv::Mat());
}

/// Red and blue exchanged.
inline cv::Mat swapped(const cv::Mat& rgba) {
    cv::Mat out(rgba.size(), rgba.type());
    cv::mixChannels(rgba, out, {0, 2, 1, 1, 2, 0, 3, 3});
    return out;
}

/// The three images of a picture, with pixels that tell where none are written.
struct Ycm {
    TImage y, c, m;

    explicit Ycm(const TSize& size = TSize(), unsigned seed = 77)
        : y(randomImage(TImage::IM_Y16U, size.width, size.height, seed)),
          c(randomImage(TImage::IM_C8U, half(size).width, half(size).height, seed + 1)),
          m(randomImage(TImage::IM_M8U, half(size).width, half(size).height, seed + 3)) {}

    static TSize half(const TSize& size) { return TSize((size.width + 1) / 2, (size.height + 1) / 2); }

    testing::AssertionResult sameAs(const Ycm& other) const {
        for (const auto& [mine, theirs] :
             {std::pair(y.toMat(0), other.y.toMat(0)), std::pair(c.toMat(0), other.c.toMat(0)),
              std::pair(c.toMat(1), other.c.toMat(1)), std::pair(m.toMat(0), other.m.toMat(0))})
            if (const auto result = samePixels(theirs, mine); !result) return result;
        return testing::AssertionSuccess();
    }
};
