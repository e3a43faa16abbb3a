#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "kestrova/image/tpimage.h"
#include "tests/support/planes.h"

/// Pixels in and out of a picture in the plain, step by step with whole planes.

const float k299 = 0x1.322d0ep-2f, k587 = 0x1.2c8b44p-1f, k114 = 0x1.d2f1aap-4f;
const double k17036 = 1.7036;
const float k17036f = 0x1.b41f22p+0f;

inline ushort rounded16(double v) { return static_cast<ushort>(std::fmin(std::fmax(std::nearbyint(v), 0.0), 65535.0)); }
inline uchar rounded8(double v) { return static_cast<uchar>(std::fmin(std::fmax(std::nearbyint(v), 0.0), 255.0)); }
inline int clamped(int v) { return std::min(std::max(v, 0), 65535); }
inline int halfOf(int n) { return (n + 1) / 2; }

inline const std::vector<cv::Size>& sizes() {
    static const std::vector<cv::Size> all = [] {
        std::vector<cv::Size> list = testSizes();
        for (int height = 1; height <= 5; ++height)
            for (int width = 1; width <= 5; ++width) list.emplace_back(width, height);
        return list;
    }();
    return all;
}

// Step by step with whole planes, as a picture comes in.
struct PicturePlanes {
    cv::Mat Y, Dr, Db;
};

inline cv::Mat luminance(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, bool fifteenBits) {
    cv::Mat Y(R.size(), CV_16UC1);
    for (int y = 0; y < Y.rows; ++y)
        for (int x = 0; x < Y.cols; ++x) {
            float sum = R.at<ushort>(y, x) * k299;
            sum = sum + G.at<ushort>(y, x) * k587;
            sum = sum + B.at<ushort>(y, x) * k114;
            Y.at<ushort>(y, x) = rounded16(fifteenBits ? sum * 2.0f : sum);
        }
    return Y;
}

// Half of the plane: every other pixel; then an added column repeats the one before it, an added row stays.
inline cv::Mat everyOther(const cv::Mat& plane) {
    cv::Mat half(halfOf(plane.rows), halfOf(plane.cols), CV_16UC1);
    for (int y = 0; y < half.rows; ++y)
        for (int x = 0; x < half.cols; ++x) half.at<ushort>(y, x) = plane.at<ushort>(2 * y, 2 * x);
    if (half.cols > plane.cols / 2 && half.cols > 1) half.col(half.cols - 2).copyTo(half.col(half.cols - 1));
    return half;
}

template <class Pixel>
struct ThreePlanes {
    cv::Mat mat[3];
    Pixel* pointer[3];
    int step;

    ThreePlanes(int rows, int cols, std::uint32_t seed = 1) {
        for (int p = 0; p < 3; ++p) {
            mat[p] = asSubPlane(randomPlane(rows, cols, cv::DataType<Pixel>::type, seed + p));
            pointer[p] = mat[p].template ptr<Pixel>(0);
        }
        step = static_cast<int>(mat[0].step);
    }
};
