#include "kestrova/detail/domain_transform_passes.h"

#include <cmath>

#include "kestrova/frame/kernel.h"
#include "kestrova/rows/exponential.h"

namespace kestrova::detail::domain_transform {

float roundWidth(float sigma, int i) {
    static const double s = std::sqrt(3.0), k = 1.0 / std::sqrt(64.0 - 1.0);
    return static_cast<float>(static_cast<double>(sigma) * s * (1 << i) * k);
}

std::array<float, 3> recursiveWidths(float sigmaS) {
    const float first = roundWidth(sigmaS, 2), second = roundWidth(first, 1);
    return {first, second, roundWidth(second, 0)};
}

float weightFactor(float sigma) { return static_cast<float>(-std::sqrt(2.0) / static_cast<double>(sigma)); }

KESTROVA_KERNEL void distanceRow(float* sum, float ratio, int n) noexcept {
    for (int x = 0; x < n; ++x) sum[x] = 1.0f + ratio * sum[x];
}

KESTROVA_KERNEL void weightRow(const float* distances, float factor, float* weights, int n) noexcept {
    KESTROVA_INDEPENDENT
    for (int x = 0; x < n; ++x) weights[x] = rows::exponential(factor * distances[x]);
}

namespace {

// One step of the recursion.
[[gnu::always_inline]] inline float drawn(float neighbour, float pixel, float weight) {
    return (neighbour - pixel) * weight + pixel;
}

// kChannels channels of kRows rows at once.
template <int kRows, int kChannels>
[[gnu::always_inline]] inline void passAlong(float* image, std::ptrdiff_t rowStep, std::ptrdiff_t pixelStep,
                                             const float* weights, std::ptrdiff_t cols) {
    float last[kRows][kChannels];
    const auto step = [&](int r, std::ptrdiff_t x, std::ptrdiff_t weightAt) {
        float* pixel = image + r * rowStep + x * pixelStep;
        const float weight = weights[r * cols + weightAt];
        for (int c = 0; c < kChannels; ++c) pixel[c] = last[r][c] = drawn(last[r][c], pixel[c], weight);
    };
    for (int r = 0; r < kRows; ++r) {
        for (int c = 0; c < kChannels; ++c) last[r][c] = image[r * rowStep + c];
    }
    for (std::ptrdiff_t x = 1; x < cols; ++x) {
        for (int r = 0; r < kRows; ++r) step(r, x, x);
    }
    for (std::ptrdiff_t x = cols - 2; x >= 0; --x) {
        for (int r = 0; r < kRows; ++r) step(r, x, x + 1);
    }
}

template <int kChannels>
[[gnu::always_inline]] inline void drawPixels(const float* __restrict neighbours, float* __restrict pixels,
                                              const float* __restrict weights, int n) {
    for (int x = 0; x < n; ++x) {
        for (int c = 0; c < kChannels; ++c) {
            const int i = x * kChannels + c;
            pixels[i] = drawn(neighbours[i], pixels[i], weights[x]);
        }
    }
}

}  // namespace

KESTROVA_KERNEL void passAlongRows(float* image, std::ptrdiff_t rowStep, int rows, int cols, int channels,
                                   const float* weights) noexcept {
    if (rows != kRowsAtOnce) {
        for (int r = 0; r < rows; ++r) {
            for (int c = 0; c < channels; ++c)
                passAlong<1, 1>(image + r * rowStep + c, 0, channels, weights + static_cast<std::ptrdiff_t>(r) * cols,
                                cols);
        }
        return;
    }
    int c = 0;
    for (; c + 2 <= channels; c += 2) passAlong<kRowsAtOnce, 2>(image + c, rowStep, channels, weights, cols);
    if (c < channels) passAlong<kRowsAtOnce, 1>(image + c, rowStep, channels, weights, cols);
}

KESTROVA_KERNEL void drawRow(const float* neighbours, float* pixels, const float* weights, int n,
                             int channels) noexcept {
    switch (channels) {
        case 1: return drawPixels<1>(neighbours, pixels, weights, n);
        case 2: return drawPixels<2>(neighbours, pixels, weights, n);
        case 3: return drawPixels<3>(neighbours, pixels, weights, n);
    }
    for (int x = 0; x < n; ++x) {
        for (int c = 0; c < channels; ++c) {
            const int i = x * channels + c;
            pixels[i] = drawn(neighbours[i], pixels[i], weights[x]);
        }
    }
}

}  // namespace kestrova::detail::domain_transform
