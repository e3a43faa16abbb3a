#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <vector>

#include "kestrova/filters/bilateral_filter.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"

using namespace kestrova::frame;

// The recursive Gaussian along the three axes of the grid. It runs along lines in strict order, but lines are
// independent: many stand side by side, if need be in a tile of their own.

namespace {

constexpr float kSigma = 0.85f;
constexpr int kSteps = 2;

/// Coefficients of the recursive Gaussian for lambda = variance / (2 steps).
struct Recursion {
    float nu, boundary, post;

    Recursion(float lambda, int steps) {
        const float a = 2.0f * lambda + 1.0f, b = 4.0f * lambda + 1.0f, c = 2.0f * lambda;
        const double root = std::sqrt(static_cast<double>(b));
        nu = static_cast<float>((static_cast<double>(a) - root) / static_cast<double>(c));
        boundary = 1.0f / (1.0f - nu);
        post = power(nu / lambda, steps);
    }

private:
    static float power(float base, int exponent) {
        float result = 1.0f;
        for (unsigned n = exponent < 0 ? 0u - static_cast<unsigned>(exponent) : static_cast<unsigned>(exponent); n;
             n >>= 1) {
            if (n & 1) result *= base;
            base *= base;
        }
        return exponent < 0 ? 1.0f / result : result;
    }
};

/// Blurs `lanes` lines side by side; the elements of a line stand at distances of `stride`.
KESTROVA_KERNEL void blurLines(float* data, int n, std::ptrdiff_t stride, int lanes, Recursion r, int steps) noexcept {
    const auto scale = [=](int i, float factor) {
        float* x = data + i * stride;
        for (int l = 0; l < lanes; ++l) x[l] *= factor;
    };
    const auto add = [=](int i, int neighbour) {
        float* __restrict x = data + i * stride;
        const float* __restrict before = data + neighbour * stride;
        for (int l = 0; l < lanes; ++l) x[l] += r.nu * before[l];
    };
    for (int step = 0; step < steps; ++step) {
        scale(0, r.boundary);
        for (int i = 1; i < n; ++i) add(i, i - 1);
        scale(n - 1, r.boundary);
        for (int i = n - 2; i >= 0; --i) add(i, i + 1);
    }
    for (int i = 0; i < n; ++i) scale(i, r.post);
}

KESTROVA_KERNEL void transpose(const float* __restrict from, int rows, int cols, int fromStep, float* __restrict to,
                               int toStep) noexcept {
    for (int c = 0; c < cols; ++c) {
        for (int r = 0; r < rows; ++r) to[c * toStep + r] = from[r * fromStep + c];
    }
}

/// Lines along z side by side in a tile.
constexpr int kLinesAlongZ = 32;
/// Lines along x, of all z and of some rows, side by side in a tile.
constexpr int kLinesAlongX = 128;
/// Lines along y, which stand side by side in the grid.
constexpr int kLinesAlongY = 256;

void blurRowAlongZ(float* row, int gridW, int gridZ, Recursion recursion, float* tile) noexcept {
    for (int x = 0; x < gridW; x += kLinesAlongZ) {
        const int lines = std::min(kLinesAlongZ, gridW - x);
        float* first = row + static_cast<std::ptrdiff_t>(x) * gridZ;
        transpose(first, lines, gridZ, gridZ, tile, kLinesAlongZ);
        blurLines(tile, gridZ, kLinesAlongZ, lines, recursion, kSteps);
        transpose(tile, gridZ, lines, kLinesAlongZ, first, gridZ);
    }
}

void blurRowsAlongX(float* first, std::ptrdiff_t rowCells, int rows, int gridW, int gridZ, Recursion recursion,
                    float* tile) noexcept {
    const int lines = rows * gridZ;
    const auto forEachLine = [&](const auto& copy) {
        for (int x = 0; x < gridW; ++x) {
            const std::ptrdiff_t cell = static_cast<std::ptrdiff_t>(x) * gridZ,
                                 inTile = static_cast<std::ptrdiff_t>(x) * lines;
            for (int r = 0; r < rows; ++r) copy(first + r * rowCells + cell, tile + inTile + r * gridZ);
        }
    };
    forEachLine([=](const float* grid, float* own) { std::copy_n(grid, gridZ, own); });
    blurLines(tile, gridW, lines, lines, recursion, kSteps);
    forEachLine([=](float* grid, const float* own) { std::copy_n(own, gridZ, grid); });
}

}  // namespace

void BilateralFilter::filterGrids() {
    const Recursion recursion(kSigma * kSigma * 0.25f, kSteps);
    const std::ptrdiff_t rowCells = static_cast<std::ptrdiff_t>(m_gridW) * m_gridZ;
    const int rowsAtOnce = std::clamp(kLinesAlongX / m_gridZ, 1, m_gridH);
    const int rowGroups = (m_gridH - 1) / rowsAtOnce + 1;
    const int columnGroups = static_cast<int>((rowCells - 1) / kLinesAlongY + 1);

    struct Scratch {
        std::vector<float> alongZ, alongX;
    };
    const auto makeScratch = [&] {
        return Scratch{std::vector<float>(static_cast<std::size_t>(kLinesAlongZ) * m_gridZ),
                       std::vector<float>(static_cast<std::size_t>(rowCells) * rowsAtOnce)};
    };
    const long long perGroup = 4 * rowCells * rowsAtOnce;
    const Strips strips(rowGroups, static_cast<int>(std::min<long long>(perGroup, INT_MAX)));
    for (float* grid : {m_weights_p, m_values_p}) {
        forEachStrip(strips, makeScratch, [&](int firstGroup, int endGroup, Scratch& scratch) noexcept {
            for (int group = firstGroup; group < endGroup; ++group) {
                const int y = group * rowsAtOnce, rows = std::min(rowsAtOnce, m_gridH - y);
                float* first = grid + y * rowCells;
                for (int r = 0; r < rows; ++r)
                    blurRowAlongZ(first + r * rowCells, m_gridW, m_gridZ, recursion, scratch.alongZ.data());
                blurRowsAlongX(first, rowCells, rows, m_gridW, m_gridZ, recursion, scratch.alongX.data());
            }
        });
        parallelRows(columnGroups, kLinesAlongY * std::min(m_gridH, 1 << 16), [&](int group) noexcept {
            const std::ptrdiff_t first = std::ptrdiff_t{group} * kLinesAlongY;
            const int lines = static_cast<int>(std::min<std::ptrdiff_t>(kLinesAlongY, rowCells - first));
            blurLines(grid + first, m_gridH, rowCells, lines, recursion, kSteps);
        });
    }
}

void BilateralFilter::iir(float* data, int n, int stride, float sigma, int steps) {
    if (n < 1) return;
    const float lambda = static_cast<float>(static_cast<double>(sigma * sigma) / (steps * 2.0));
    blurLines(data, n, stride, 1, Recursion(lambda, steps), steps);
}
