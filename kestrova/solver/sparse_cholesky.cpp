#include "kestrova/solver/sparse_cholesky.h"

#include <algorithm>
#include <cmath>

#include "kestrova/solver/sparse_substitution.h"

namespace kestrova::solver {

namespace {

double largest(const float* v, std::size_t n) {
    double size = 0;
    for (std::size_t k = 0; k < n; ++k) size = std::max(size, std::fabs(static_cast<double>(v[k])));
    return size;
}

/// The power of two that brings `size` into [1/2, 1); 1 for 0 and for what is not finite.
double scaleToOne(double size) {
    int exponent = 0;
    if (std::isfinite(size)) std::frexp(size, &exponent);
    return std::ldexp(1.0, -exponent);
}

}  // namespace

SparseCholesky::SparseCholesky(const SparseRows& matrix)
    : m_tree(matrix),
      m_values{SolverArray<float>(static_cast<std::size_t>(matrix.n)),
               SolverArray<float>(m_tree.pattern.columnRows.size())},
      m_factor(static_cast<std::size_t>(m_tree.factorSize)) {}

bool SparseCholesky::setValues(const SparseRows& matrix) {
    m_factorised = false;
    std::fill(m_values.diagonal.begin(), m_values.diagonal.end(), 0.0f);
    std::fill(m_values.below.begin(), m_values.below.end(), 0.0f);
    bool known = true;
    matrix.forEach([&](int i, int j, float value) {
        const auto [column, row] = std::minmax(m_tree.pattern.inverse[i], m_tree.pattern.inverse[j]);
        if (column == row) {
            m_values.diagonal[row] += value;
            return;
        }
        const auto begin = m_tree.pattern.columnRows.begin() + m_tree.pattern.columns[column];
        const auto end = m_tree.pattern.columnRows.begin() + m_tree.pattern.columns[column + 1];
        const auto entry = std::lower_bound(begin, end, row);
        if (entry == end || *entry != row) {
            known = false;
        } else {
            m_values.below[static_cast<std::size_t>(entry - m_tree.pattern.columnRows.begin())] += value;
        }
    });
    return known;
}

bool SparseCholesky::factorise() {
    const auto finite = [](float v) { return std::isfinite(v); };
    m_factorised = std::all_of(m_values.diagonal.begin(), m_values.diagonal.end(), finite) &&
                   std::all_of(m_values.below.begin(), m_values.below.end(), finite) &&
                   factoriseFronts(m_tree, m_values, m_factor.data(), m_workspace);
    return m_factorised;
}

void SparseCholesky::findResidual(const SolverArray<double>& b, const SolverArray<double>& x,
                                  SolverArray<double>& residual) const {
    const int n = m_tree.pattern.n;
    std::copy(b.begin(), b.end(), residual.begin());
    for (int j = 0; j < n; ++j) {
        double sum = static_cast<double>(m_values.diagonal[j]) * x[j];
        for (std::int64_t k = m_tree.pattern.columns[j]; k < m_tree.pattern.columns[j + 1]; ++k) {
            const int i = m_tree.pattern.columnRows[k];
            const auto value = static_cast<double>(m_values.below[k]);
            sum += value * x[i];
            residual[i] -= value * x[j];
        }
        residual[j] -= sum;
    }
}

bool SparseCholesky::solveDiagonal(const float* b, float* x) const {
    bool finite = true;
    for (int k = 0; k < m_tree.pattern.n; ++k) {
        const int i = m_tree.pattern.order[k];
        x[i] = b[i] / m_values.diagonal[k];
        finite = finite && std::isfinite(x[i]);
    }
    return finite;
}

bool SparseCholesky::solve(const float* b, float* x, int maxSteps, int* steps) const {
    *steps = 0;
    if (m_tree.pattern.columnRows.empty()) return solveDiagonal(b, x);
    constexpr double kBelowRounding = 0x1p-26;  // of the largest element: nothing that the rounding to float keeps
    const auto n = static_cast<std::size_t>(m_tree.pattern.n);
    Substitution substitution(m_tree, m_factor.data());
    SolverArray<float> y(n);
    SolverArray<double> scaled(n), solution(n), residual(n);

    // A right-hand side near the denormals, which the substitution flushes, is solved as one near 1.
    const double scale = scaleToOne(largest(b, n));
    for (std::size_t k = 0; k < n; ++k) {
        scaled[k] = static_cast<double>(b[m_tree.pattern.order[k]]) * scale;
        y[k] = static_cast<float>(scaled[k]);
    }
    substitution.run(y.data());
    std::copy(y.begin(), y.end(), solution.begin());
    const double size = largest(y.data(), n);
    double correction = size;
    while (*steps < maxSteps && correction > 0 && std::isfinite(correction)) {
        findResidual(scaled, solution, residual);
        for (std::size_t k = 0; k < n; ++k) y[k] = static_cast<float>(residual[k]);
        substitution.run(y.data());
        const double before = correction;
        correction = largest(y.data(), n);
        const double gain = correction / before;
        if (!(gain < 0.5)) {
            if (*steps == 0) return false;
            break;
        }
        ++*steps;
        for (std::size_t k = 0; k < n; ++k) solution[k] += static_cast<double>(y[k]);
        if (correction * gain <= kBelowRounding * size) break;
    }
    bool finite = true;
    for (std::size_t k = 0; k < n; ++k) {
        const auto value = static_cast<float>(solution[k] / scale);
        finite = finite && std::isfinite(value);
        x[m_tree.pattern.order[k]] = value;
    }
    return finite;
}

}  // namespace kestrova::solver
