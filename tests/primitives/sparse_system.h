#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

/// A symmetric system for tests: the upper triangle in compressed sparse rows counted from 1, as the solver takes it.
struct SparseSystem {
    int n = 0;
    std::vector<float> a;
    std::vector<int> ia{1}, ja;

    /// Adds the next row: pairs of column (from 0) and value.
    void addRow(const std::vector<std::pair<int, float>>& entries) {
        for (const auto& [column, value] : entries) ja.push_back(column + 1), a.push_back(value);
        ia.push_back(static_cast<int>(a.size()) + 1);
        ++n;
    }

    template <class Visit>
    void forEach(Visit visit) const {
        for (int i = 0; i < n; ++i) {
            for (int k = ia[i] - 1; k < ia[i + 1] - 1; ++k) visit(i, ja[k] - 1, static_cast<double>(a[k]));
        }
    }
};

/// A random matrix with about `perRow` entries right of the diagonal in a row, made positive definite by a dominant
/// diagonal. Columns stand in random order.
inline SparseSystem randomSystem(int n, double perRow, std::uint32_t seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> value(-1, 1);
    std::vector<std::vector<std::pair<int, float>>> rows(n);
    std::vector<double> dominance(n, 1.0);
    for (int i = 0; i < n; ++i) {
        for (int j = i + 1; j < n; ++j) {
            if (std::generate_canonical<double, 32>(random) * (n - 1) >= 2 * perRow) continue;
            const float v = value(random);
            rows[i].emplace_back(j, v);
            dominance[i] += std::fabs(static_cast<double>(v));
            dominance[j] += std::fabs(static_cast<double>(v));
        }
    }
    SparseSystem system;
    for (int i = 0; i < n; ++i) {
        rows[i].emplace_back(i, static_cast<float>(dominance[i]));
        std::shuffle(rows[i].begin(), rows[i].end(), random);
        system.addRow(rows[i]);
    }
    return system;
}

/// One plus the Laplacian of a w x h grid with random weights in [low, high], in the layout of a plane's pixels, the
/// explicit zeros at the ends of pixel rows included.
inline SparseSystem gridSystem(int w, int h, float low, float high, std::uint32_t seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> weight(low, high);
    const int n = w * h;
    std::vector<float> right(n), below(n);
    for (int i = 0; i < n; ++i) {
        right[i] = (i + 1) % w == 0 ? 0.0f : weight(random);
        below[i] = i + w < n ? weight(random) : 0.0f;
    }
    SparseSystem system;
    for (int i = 0; i < n; ++i) {
        const float left = i >= 1 ? right[i - 1] : 0.0f, above = i >= w ? below[i - w] : 0.0f;
        std::vector<std::pair<int, float>> row = {{i, 1.0f + right[i] + below[i] + left + above}};
        if (i + 1 < n) row.emplace_back(i + 1, -right[i]);
        if (i + w < n) row.emplace_back(i + w, -below[i]);
        system.addRow(row);
    }
    return system;
}

inline std::vector<float> randomVector(int n, std::uint32_t seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> value(0, 1);
    std::vector<float> v(n);
    for (float& x : v) x = value(random);
    return v;
}

/// The solution by a dense Cholesky factorisation in double; empty if the matrix is not positive definite.
inline std::vector<double> denseSolve(const SparseSystem& system, const std::vector<float>& b) {
    const int n = system.n;
    std::vector<std::vector<double>> l(n, std::vector<double>(n, 0.0));
    system.forEach([&](int i, int j, double v) { l[j][i] += v; });
    for (int j = 0; j < n; ++j) {
        for (int i = j; i < n; ++i) {
            for (int k = 0; k < j; ++k) l[i][j] -= l[i][k] * l[j][k];
            if (i == j && !(l[j][j] > 0)) return {};
            l[i][j] = i == j ? std::sqrt(l[j][j]) : l[i][j] / l[j][j];
        }
    }
    std::vector<double> x(b.begin(), b.end());
    for (int i = 0; i < n; ++i) {
        for (int k = 0; k < i; ++k) x[i] -= l[i][k] * x[k];
        x[i] /= l[i][i];
    }
    for (int i = n; i-- > 0;) {
        for (int k = i + 1; k < n; ++k) x[i] -= l[k][i] * x[k];
        x[i] /= l[i][i];
    }
    return x;
}

/// The largest |b - A x| over the largest (|A| |x| + |b|), in double. A solution that is right but for its own rounding
/// to float keeps below 2^-24.
inline double backwardError(const SparseSystem& system, const std::vector<float>& x, const std::vector<float>& b) {
    std::vector<double> residual(b.begin(), b.end()), size(system.n);
    for (int i = 0; i < system.n; ++i) size[i] = std::fabs(residual[i]);
    const auto take = [&](int i, double v, double xj) {
        residual[i] -= v * xj;
        size[i] += std::fabs(v * xj);
    };
    system.forEach([&](int i, int j, double v) {
        take(i, v, x[j]);
        if (i != j) take(j, v, x[i]);
    });
    double worst = 0, scale = 0;
    for (int i = 0; i < system.n; ++i) {
        if (!(std::fabs(residual[i]) <= worst)) worst = std::fabs(residual[i]);
        scale = std::fmax(scale, size[i]);
    }
    return worst / scale;
}
