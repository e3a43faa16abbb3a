#pragma once

#include <opencv2/core.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "kestrova/frame/parallel.h"

// The passes of the domain transform: row kernels, and the drivers that run them along rows and down columns. Internal.

namespace kestrova::detail::domain_transform {

/// The width of a round: sigma sqrt(3) 2^i / sqrt(4^3 - 1), i = 2, 1, 0.
float roundWidth(float sigma, int i);

/// The widths of the recursive filter's rounds, in their order; each but the first is made from the one before.
std::array<float, 3> recursiveWidths(float sigmaS);

/// -sqrt(2) / sigma in double precision, narrowed as cv::Mat's product with a double narrows it on floats.
float weightFactor(float sigma);

/// sum[x] becomes the distance 1 + ratio * sum[x].
void distanceRow(float* sum, float ratio, int n) noexcept;

/// weights[x] = e^(factor * distances[x])
void weightRow(const float* distances, float factor, float* weights, int n) noexcept;

/// Rows whose chains of dependent steps run side by side. A megapixel of two channels takes 1.6 ms, with two rows 2.8
/// ms; eight run out of registers (1.9 ms).
constexpr int kRowsAtOnce = 4;

/// Forward and back along each of `rows` rows, at most `kRowsAtOnce`; `weights` holds as many rows of `cols`.
void passAlongRows(float* image, std::ptrdiff_t rowStep, int rows, int cols, int channels,
                   const float* weights) noexcept;

/// Each pixel of a row is drawn towards its filtered neighbour in the row above or below.
void drawRow(const float* neighbours, float* pixels, const float* weights, int n, int channels) noexcept;

/// The weights of a stretch of a row, from distances.
struct DistanceWeights {
    const cv::Mat& distances;
    float factor;
    void fill(int y, int x, int n, float* weights) const noexcept {
        weightRow(distances.ptr<float>(y) + x, factor, weights, n);
    }
};

/// One recursive pass along the rows, several side by side.
template <class Weights>
void passRows(cv::Mat& image, const Weights& weights) {
    const int cols = image.cols, channels = image.channels();
    const auto weightRows = [cols] { return std::vector<float>(kRowsAtOnce * static_cast<std::size_t>(cols)); };
    frame::forEachStrip(frame::Strips(image.rows, frame::workOf(cols, 4 * channels), kRowsAtOnce), weightRows,
                        [&](int begin, int end, std::vector<float>& rowsOfWeights) noexcept {
                            float* const w = rowsOfWeights.data();
                            for (int y = begin; y < end; y += kRowsAtOnce) {
                                const int rows = std::min(kRowsAtOnce, end - y);
                                for (int r = 0; r < rows; ++r)
                                    weights.fill(y + r, 0, cols, w + static_cast<std::ptrdiff_t>(r) * cols);
                                passAlongRows(image.ptr<float>(y), static_cast<std::ptrdiff_t>(image.step1()), rows,
                                              cols, channels, w);
                            }
                        });
}

/// The same pass along the columns: down and up the image as it lies, many columns at once. `V` keeps the weights of
/// the way down for the way up.
template <class Weights>
void passColumns(cv::Mat& image, const Weights& weights, cv::Mat& V) {
    constexpr int kGroup = 16;  // columns whose floats fill a cache line: threads share none
    const int rows = image.rows, channels = image.channels();
    V.create(image.size(), CV_32FC1);
    const auto columns = frame::Strips::onePerThread(image.cols, frame::workOf(rows, 4 * channels), kGroup);
    frame::forEachStrip(columns, [&](int begin, int end) noexcept {
        const int n = end - begin;
        const auto pixels = [&](int y) { return image.ptr<float>(y) + static_cast<std::ptrdiff_t>(begin) * channels; };
        const auto v = [&](int y) { return V.ptr<float>(y) + begin; };
        for (int y = 1; y < rows; ++y) {
            weights.fill(y, begin, n, v(y));
            drawRow(pixels(y - 1), pixels(y), v(y), n, channels);
        }
        for (int y = rows - 2; y >= 0; --y) drawRow(pixels(y + 1), pixels(y), v(y + 1), n, channels);
    });
}

}  // namespace kestrova::detail::domain_transform
