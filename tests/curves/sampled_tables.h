#pragma once

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>
#include <vector>

/// The tables made of samples, in the plain, for the tests of all that build such tables.

/// 4096 samples enlarged linearly by 16, pixel centre upon pixel centre, rounded to nearest, halves up.
inline std::vector<int> naiveEnlarge16(const std::vector<int>& samples) {
    std::vector<int> table;
    for (int e = 0; e < 65536; ++e) {
        const double position = (e + 0.5) / 16.0 - 0.5;
        const int i = static_cast<int>(std::floor(position));
        const double f = position - i;
        const int s0 = samples[std::clamp(i, 0, 4095)], s1 = samples[std::clamp(i + 1, 0, 4095)];
        table.push_back(static_cast<int>(std::floor(s0 * (1 - f) + s1 * f + 0.5)));
    }
    return table;
}

inline std::vector<int> tableOf(const ushort* table) { return {table, table + 65536}; }

inline cv::Mat naiveLookUp(const cv::Mat& in, const std::vector<int>& table) {
    cv::Mat out(in.size(), CV_16UC1);
    for (int y = 0; y < in.rows; ++y)
        for (int x = 0; x < in.cols; ++x) out.at<ushort>(y, x) = static_cast<ushort>(table[in.at<ushort>(y, x)]);
    return out;
}
