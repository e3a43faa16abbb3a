#pragma once

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

/// The guided filter by its definition: every window summed by itself, everything in double.
namespace guided_reference {

struct Model {
    std::vector<cv::Mat> slopes;  ///< CV_64FC1, one for each guide plane
    cv::Mat offset;               ///< CV_64FC1
};

inline double unitPixel(const cv::Mat& m, int y, int x) {
    y = std::min(std::max(y, 0), m.rows - 1);
    x = std::min(std::max(x, 0), m.cols - 1);
    switch (m.depth()) {
        case CV_8U: return m.at<uchar>(y, x) / 255.0;
        case CV_16U: return m.at<ushort>(y, x) / 65535.0;
        default: return m.at<double>(y, x);
    }
}

/// The mean of `value(y, x)` over the window around a pixel.
template <class Value>
double windowMean(int cy, int cx, int r, const Value& value) {
    double sum = 0;
    for (int y = cy - r; y <= cy + r; ++y)
        for (int x = cx - r; x <= cx + r; ++x) sum += value(y, x);
    return sum / ((2 * r + 1) * (2 * r + 1));
}

inline cv::Mat boxed(const cv::Mat& m, int r) {
    cv::Mat out(m.size(), CV_64FC1);
    for (int y = 0; y < m.rows; ++y)
        for (int x = 0; x < m.cols; ++x)
            out.at<double>(y, x) = windowMean(y, x, r, [&](int v, int u) { return unitPixel(m, v, u); });
    return out;
}

/// Fitted to planes of one size, on the scale 0..1 of their types.
inline Model fitted(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, double eps) {
    const int n = static_cast<int>(guide.size());
    std::vector<cv::Mat> slopes(guide.size());
    for (cv::Mat& slope : slopes) slope.create(p.size(), CV_64FC1);
    cv::Mat offset(p.size(), CV_64FC1);
    const auto plane = [&](int i) -> const cv::Mat& { return i < n ? guide[static_cast<std::size_t>(i)] : p; };
    for (int y = 0; y < p.rows; ++y) {
        for (int x = 0; x < p.cols; ++x) {
            const auto mean = [&](int i) {
                return windowMean(y, x, r, [&](int v, int u) { return unitPixel(plane(i), v, u); });
            };
            const auto covariance = [&](int i, int j) {
                const double mi = mean(i), mj = mean(j);
                return windowMean(y, x, r, [&](int v, int u) {
                    return (unitPixel(plane(i), v, u) - mi) * (unitPixel(plane(j), v, u) - mj);
                });
            };
            cv::Mat system(n, n, CV_64FC1), right(n, 1, CV_64FC1), a;
            for (int i = 0; i < n; ++i) {
                right.at<double>(i) = covariance(i, n);
                for (int j = 0; j < n; ++j) system.at<double>(i, j) = covariance(i, j) + (i == j ? eps : 0);
            }
            cv::solve(system, right, a, cv::DECOMP_SVD);
            double b = mean(n);
            for (int i = 0; i < n; ++i) {
                slopes[static_cast<std::size_t>(i)].at<double>(y, x) = a.at<double>(i);
                b -= a.at<double>(i) * mean(i);
            }
            offset.at<double>(y, x) = b;
        }
    }
    for (cv::Mat& slope : slopes) slope = boxed(slope, r);
    return {slopes, boxed(offset, r)};
}

/// Each coefficient serves a block of the guide.
inline cv::Mat applied(const Model& model, const std::vector<cv::Mat>& guide) {
    const cv::Mat& first = guide[0];
    const double scale = first.depth() == CV_8U ? 255 : 65535;
    const int sy = (first.rows + model.offset.rows - 1) / model.offset.rows;
    const int sx = (first.cols + model.offset.cols - 1) / model.offset.cols;
    cv::Mat out(first.size(), CV_64FC1);
    for (int y = 0; y < out.rows; ++y) {
        for (int x = 0; x < out.cols; ++x) {
            double v = model.offset.at<double>(y / sy, x / sx);
            for (std::size_t i = 0; i < guide.size(); ++i)
                v += model.slopes[i].at<double>(y / sy, x / sx) * unitPixel(guide[i], y, x);
            out.at<double>(y, x) = std::min(std::max(v, 0.0), 1.0) * scale;
        }
    }
    out.convertTo(out, first.type());
    return out;
}

}  // namespace guided_reference
