#pragma once

#include <algorithm>
#include <opencv2/core.hpp>

/// What the tests of resizing share.

constexpr int kTypes[] = {CV_8UC1, CV_16UC1, CV_32FC1};
constexpr int kNearest = 1, kLinear = 2, kCubic = 4;

inline double pixel(const cv::Mat& m, int y, int x) {
    y = std::min(std::max(y, 0), m.rows - 1);
    x = std::min(std::max(x, 0), m.cols - 1);
    switch (m.depth()) {
        case CV_8U: return m.at<uchar>(y, x);
        case CV_16U: return m.at<ushort>(y, x);
        default: return static_cast<double>(m.at<float>(y, x));
    }
}

// The additional columns on the right repeat the last regular one; the rows below stay.
inline cv::Mat withRightColumns(cv::Mat m, int additional) {
    for (int i = 0; additional > 0 && additional < m.cols && i < additional; ++i)
        m.col(m.cols - additional - 1).copyTo(m.col(m.cols - additional + i));
    return m;
}

inline cv::Size roundedUp(const cv::Mat& in, int n) { return {(in.cols + n - 1) / n, (in.rows + n - 1) / n}; }

inline cv::Mat filled(cv::Size size, int type) { return cv::Mat(size, type, cv::Scalar(77)); }
