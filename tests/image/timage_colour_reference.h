#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "kestrova/primitives/primitives.h"
#include "tests/image/timage_planes.h"

/// Y, C, M in the plain: the documented sequence, block by block, with whole planes between.

const char* const kSizeText =
    "TImage::YCMToRgba16u - imY.size()!=out.size() || TImage::dec2Size(imY.size()) != imC.size() || "
    "imC.size() != mask.size()";
const char* const kKindTextIn =
    "ERROR - TImage::rgba16uToYCM - y.type()!=IM_Y16U || c.type()!=IM_C8U || m.type()!=IM_M8U";
const char* const kKindTextOut =
    "ERROR - TImage::YCMToRgba16u - y.type()!=IM_Y16U || c.type()!=IM_C8U || m.type()!=IM_M8U";

inline int rounded(double v, int top) { return static_cast<int>(std::fmin(std::fmax(std::nearbyint(v), 0.0), top)); }

// The documented sequence, block by block.
inline void toYcm(const cv::Mat& rgba, Ycm& out) {
    for (int i = 0; i < rgba.rows / 2; ++i)
        for (int j = 0; j < rgba.cols / 2; ++j) {
            int sum = 0, red = 0, blue = 0, alpha = 0;
            for (int k = 0; k < 4; ++k) {
                const int r = 2 * i + k / 2, x = 2 * j + k % 2;
                const cv::Vec4w p = rgba.at<cv::Vec4w>(r, x);
                float v = static_cast<float>(p[0]) * k299;
                v = v + static_cast<float>(p[1]) * k587;
                v = v + static_cast<float>(p[2]) * k114;
                const int y = rounded(static_cast<double>(v), 65535);
                cv::Mat(out.y.toMat(0)).at<ushort>(r, x) = static_cast<ushort>(y);
                sum += y, red += p[0], blue += p[2], alpha += p[3];
            }
            const auto byte = [](int v) { return static_cast<uchar>(std::min(std::max(v, 0), 255)); };
            cv::Mat(out.c.toMat(0)).at<uchar>(i, j) = byte((red - sum) / 2048 + 128);
            cv::Mat(out.c.toMat(1)).at<uchar>(i, j) = byte((blue - sum) / 2048 + 128);
            cv::Mat(out.m.toMat(0)).at<uchar>(i, j) = static_cast<uchar>(alpha >> 10);
        }
}

inline cv::Mat widened(const cv::Mat& bytes) {
    cv::Mat words(bytes.size(), CV_16UC4);
    ippiScale_8u16u_C4R(bytes.ptr(), static_cast<int>(bytes.step), words.ptr<ushort>(), static_cast<int>(words.step),
                        {bytes.cols, bytes.rows});
    return words;
}

inline cv::Mat narrowed(const cv::Mat& words) {
    cv::Mat bytes(words.size(), CV_8UC4);
    ippiScale_16u8u_C4R(words.ptr<ushort>(), static_cast<int>(words.step), bytes.ptr(), static_cast<int>(bytes.step),
                        {words.cols, words.rows}, ippAlgHintFast);
    return bytes;
}

inline cv::Mat enlarged(const cv::Mat& half, cv::Size size) {
    cv::Mat full(size, CV_8UC1);
    EXPECT_EQ(ippiResizeSqrPixel_8u_C1R(half.ptr(), {half.cols, half.rows}, static_cast<int>(half.step),
                                        {0, 0, half.cols, half.rows}, full.ptr(), static_cast<int>(full.step),
                                        {0, 0, full.cols, full.rows}, 2.0, 2.0, 0.0, 0.0, 4, nullptr),
              ippStsNoErr);
    return full;
}

inline cv::Mat fromYcm(const Ycm& in) {
    const cv::Mat y = in.y.toMat(0), c0 = enlarged(in.c.toMat(0), y.size()), c1 = enlarged(in.c.toMat(1), y.size()),
                  m = enlarged(in.m.toMat(0), y.size());
    cv::Mat out(y.size(), CV_16UC4);
    for (int r = 0; r < y.rows; ++r)
        for (int x = 0; x < y.cols; ++x) {
            const float luminance = y.at<ushort>(r, x);
            const float red = (static_cast<float>(c0.at<uchar>(r, x)) - 128.0f) * 512.0f + luminance;
            const float blue = (static_cast<float>(c1.at<uchar>(r, x)) - 128.0f) * 512.0f + luminance;
            float green = luminance - red * k299;
            green = green - blue * k114;
            green = green * k17035775;
            const auto word = [](double v) { return static_cast<ushort>(rounded(v, 65535)); };
            out.at<cv::Vec4w>(r, x) = {word(static_cast<double>(red)), word(static_cast<double>(green)),
                                       word(static_cast<double>(blue)),
                                       word(static_cast<double>(m.at<uchar>(r, x)) * 255.997)};
        }
    return out;
}

inline TSize sizeOf(const cv::Size& s) { return TSize(s.width, s.height); }

// Colours at the ends of the range, where sums and clamps show, beside random ones.
inline cv::Mat rgbaOf(const cv::Size& s, int type, int variant) {
    cv::Mat rgba = randomPlane(s.height, s.width, type, static_cast<unsigned>(5 + variant));
    if (variant == 1) cv::compare(randomPlane(s.height, s.width, CV_8UC4), 128, rgba, cv::CMP_GT);
    if (variant == 1 && type == CV_16UC4) rgba.convertTo(rgba, CV_16U, 257);
    return rgba;
}
