#pragma once

#include <opencv2/core.hpp>

#include <cmath>
#include <cstddef>
#include <vector>

/// `convertTo` on OpenCV's baseline path, as it takes it on a processor without fused operations.
inline cv::Mat convertedOnBaseline(const cv::Mat& plane, int depth, double alpha, double beta) {
    const bool optimized = cv::useOptimized();
    cv::setUseOptimized(false);
    cv::Mat converted;
    plane.convertTo(converted, depth, alpha, beta);
    cv::setUseOptimized(optimized);
    return converted;
}

/// The bilateral grid one pixel, one cell, one line at a time.
class NaiveBilateral {
public:
    NaiveBilateral(const cv::Mat& guide, int sampling, int range)
        : width(guide.cols), height(guide.rows), sampling(sampling), range(range) {
        double lowest = 0, highest = 0;
        cv::minMaxIdx(guide, &lowest, &highest);
        min = static_cast<int>(lowest);
        const double d = highest - lowest;
        int cellsX = width / sampling, cellsY = height / sampling, cellsZ = static_cast<int>(d / range);
        if (sampling * cellsX < width) ++cellsX;
        if (sampling * cellsY < height) ++cellsY;
        if (static_cast<double>(range * cellsZ) < d) ++cellsZ;
        w = 4 + cellsX;
        h = 4 + cellsY;
        depth = 4 + cellsZ;
        if (depth > 252) {
            depth = 252;
            this->range = static_cast<int>(d / 248);
        }
        weights.assign(static_cast<std::size_t>(w) * h * depth, 1e-20f);
        values.assign(weights.size(), 0.0f);
    }

    std::size_t index(int x, int y, int z) const {
        return (static_cast<std::size_t>(w) * y + x) * static_cast<std::size_t>(depth) + z;
    }

    template <class Pixel>
    void splat(const cv::Mat& plane, const cv::Mat& guide) {
        const double alpha = 1.0 / range;
        const cv::Mat zIdx = convertedOnBaseline(guide, CV_8U, alpha, 2.0 - min * alpha);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const std::size_t cell = index(2 + x / sampling, 2 + y / sampling, zIdx.at<uchar>(y, x));
                values[cell] += static_cast<float>(plane.at<Pixel>(y, x));
                weights[cell] += 1.0f;
            }
        }
    }

    static void blurLine(float* x, int n, std::ptrdiff_t stride, float lambda, int steps) {
        const float two = 2 * lambda, twoOne = two + 1, fourOne = 4 * lambda + 1;
        const float nu = static_cast<float>((static_cast<double>(twoOne) - std::sqrt(static_cast<double>(fourOne))) /
                                            static_cast<double>(two));
        const float boundary = 1 / (1 - nu);
        float post = 1, square = nu / lambda;
        for (int e = std::abs(steps); e > 0; e /= 2) {
            if (e % 2 == 1) post = post * square;
            square = square * square;
        }
        if (steps < 0) post = 1 / post;
        for (int s = 0; s < steps; ++s) {
            x[0] = x[0] * boundary;
            for (int i = 1; i < n; ++i) x[i * stride] = x[i * stride] + nu * x[(i - 1) * stride];
            x[(n - 1) * stride] = x[(n - 1) * stride] * boundary;
            for (int i = n - 2; i >= 0; --i) x[i * stride] = x[i * stride] + nu * x[(i + 1) * stride];
        }
        for (int i = 0; i < n; ++i) x[i * stride] = x[i * stride] * post;
    }

    void blur() {
        const float lambda = 0.85f * 0.85f * 0.25f;
        for (std::vector<float>* grid : {&weights, &values}) {
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) blurLine(&(*grid)[index(x, y, 0)], depth, 1, lambda, 2);
            for (int y = 0; y < h; ++y)
                for (int z = 0; z < depth; ++z) blurLine(&(*grid)[index(0, y, z)], w, depth, lambda, 2);
            for (int x = 0; x < w; ++x)
                for (int z = 0; z < depth; ++z)
                    blurLine(&(*grid)[index(x, 0, z)], h, static_cast<std::ptrdiff_t>(w) * depth, lambda, 2);
        }
    }

    void divide() {
        for (std::size_t i = 0; i < values.size(); ++i) values[i] = values[i] / weights[i];
    }

    template <class Pixel>
    cv::Mat readBack(const cv::Mat& guide, int type) const {
        const double alpha = 1.0 / range;
        const cv::Mat zf = convertedOnBaseline(guide, CV_32F, alpha, 1.5 - min * alpha);
        cv::Mat zi, out(height, width, type);
        zf.convertTo(zi, CV_8U);
        for (int y = 0; y < height; ++y) {
            const float yf = static_cast<float>(y) / static_cast<float>(sampling) + 1.0f + 0.5f;
            const int yi = static_cast<int>(yf);
            const float fy = yf - static_cast<float>(yi);
            for (int x = 0; x < width; ++x) {
                const float xf = static_cast<float>(x) / static_cast<float>(sampling) + 1.0f + 0.5f;
                const int xi = static_cast<int>(xf);
                const float fx = xf - static_cast<float>(xi);
                const int z = zi.at<uchar>(y, x);
                const float fz = zf.at<float>(y, x) - static_cast<float>(z);
                const auto g = [&](int dx, int dy, int dz) { return values[index(xi + dx, yi + dy, z + dz)]; };
                const float c00 = g(0, 0, 0) + (g(0, 0, 1) - g(0, 0, 0)) * fz;
                const float c10 = g(1, 0, 0) + (g(1, 0, 1) - g(1, 0, 0)) * fz;
                const float c01 = g(0, 1, 0) + (g(0, 1, 1) - g(0, 1, 0)) * fz;
                const float c11 = g(1, 1, 0) + (g(1, 1, 1) - g(1, 1, 0)) * fz;
                const float r0 = c00 + (c10 - c00) * fx;
                const float r1 = c01 + (c11 - c01) * fx;
                out.at<Pixel>(y, x) = cv::saturate_cast<Pixel>(static_cast<double>((r1 - r0) * fy + r0));
            }
        }
        return out;
    }

    /// `plane` filtered.
    static cv::Mat filtered(const cv::Mat& plane, const cv::Mat& guide, int sampling, int range) {
        NaiveBilateral grid(guide, sampling, range);
        return plane.depth() == CV_16U ? grid.run<ushort>(plane, guide) : grid.run<uchar>(plane, guide);
    }

    template <class Pixel>
    cv::Mat run(const cv::Mat& plane, const cv::Mat& guide) {
        splat<Pixel>(plane, guide);
        blur();
        divide();
        return readBack<Pixel>(guide, plane.type());
    }

    int width, height, sampling, range, min;
    int w, h, depth;
    std::vector<float> weights, values;
};
