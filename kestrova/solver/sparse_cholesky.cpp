#include "kestrova/solver/sparse_cholesky.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <utility>

#include "kestrova/frame/steps.h"
#include "kestrova/solver/sparse_factorisation.h"
#include "kestrova/solver/sparse_substitution.h"

namespace kestrova::solver {

using namespace frame;

namespace {

/// Work on an element of a vector, in those of a simple kernel.
constexpr int kElementWork = 4;

/// Calls `work(k)` for each element of vectors of length n.
template <class Work>
void forEachElement(int n, const Work& work) {
    forEachStrip(Strips(n, kElementWork), [&](int first, int end) noexcept {
        for (int k = first; k < end; ++k) work(k);
    });
}

/// The largest magnitude; NaN does not count.
double largest(const float* v, int n) {
    const Strips strips(n, kElementWork);
    SolverArray<float> sizes(static_cast<std::size_t>(strips.count()));
    shareStrips(strips, [&](int s, int) noexcept {
        float size = 0;
        for (int k = strips.first(s); k < strips.end(s); ++k) size = std::max(size, std::fabs(v[k]));
        sizes[s] = size;
    });
    return static_cast<double>(*std::max_element(sizes.begin(), sizes.end()));
}

/// The power of two that brings `size` into [1/2, 1); 1 for 0 and for what is not finite.
double scaleToOne(double size) {
    int exponent = 0;
    if (std::isfinite(size)) std::frexp(size, &exponent);
    return std::ldexp(1.0, -exponent);
}

}  // namespace

SparseCholesky::SparseCholesky(const SparseRows& matrix, SolverMemory memory)
    : m_tree(matrix), m_memory(std::move(memory)) {
    provide(m_memory.diagonal, static_cast<std::size_t>(matrix.n));
    provide(m_memory.below, m_tree.pattern.columnRows.size());
    provide(m_memory.factor, static_cast<std::size_t>(m_tree.factorSize));
}

bool SparseCholesky::setValues(const SparseRows& matrix) {
    m_factorised = false;
    m_finite = true;
    return m_tree.pattern.grid ? setGridValues(matrix) : setOtherValues(matrix);
}

/// An entry belongs to one row of the matrix: the rows of different strips meet nowhere.
bool SparseCholesky::setGridValues(const SparseRows& matrix) {
    const EliminationPattern& pattern = m_tree.pattern;
    std::atomic<bool> known{true}, finite{true};
    constexpr int kWork = 16;
    const Strips strips(pattern.n, kWork);
    const auto clear = [&](int first, int end) {
        std::fill(m_memory.diagonal.begin() + first, m_memory.diagonal.begin() + end, 0.0f);
        std::fill(m_memory.below.begin() + pattern.columns[first], m_memory.below.begin() + pattern.columns[end], 0.0f);
    };
    const auto set = [&](int i, int j, float value) {
        const auto [column, row] = std::minmax(pattern.inverse[i], pattern.inverse[j]);
        if (!std::isfinite(value)) finite = false;
        if (column == row) {
            m_memory.diagonal[row] += value;
            return;
        }
        int k = pattern.columns[column];
        while (k < pattern.columns[column + 1] && pattern.columnRows[k] != row) ++k;
        if (k < pattern.columns[column + 1]) {
            m_memory.below[k] += value;
        } else {
            known = false;
        }
    };
    Steps<2> steps;
    withTeam(strips.workers(), [&](int) noexcept {
        return steps.join({strips.count(), strips.count()}, [&](int step, int s) noexcept {
            if (step == 0) {
                clear(strips.first(s), strips.end(s));
                return;
            }
            for (int i = strips.first(s); i < strips.end(s); ++i) {
                matrix.forEach(i, [&](int j, float value) { set(i, j, value); });
            }
        });
    });
    m_finite = finite;
    return known;
}

/// In the order of elimination, without a search. The entries of a row of the matrix that are eliminated later belong
/// to its own column, whose places are noted; the others belong to earlier columns, to each of which they come in
/// ascending order.
bool SparseCholesky::setOtherValues(const SparseRows& matrix) {
    const EliminationPattern& pattern = m_tree.pattern;
    std::fill(m_memory.diagonal.begin(), m_memory.diagonal.end(), 0.0f);
    std::fill(m_memory.below.begin(), m_memory.below.end(), 0.0f);
    SolverArray<int> next(pattern.columns.begin(), pattern.columns.end() - 1);
    SolverArray<int> placeInOwn(static_cast<std::size_t>(pattern.n), -1);
    bool known = true;
    const auto add = [&](int place, float value) { m_memory.below[place] += value; };
    for (int own = 0; own < pattern.n; ++own) {
        const int begin = pattern.columns[own];
        for (int k = begin; k < pattern.columns[own + 1]; ++k) placeInOwn[pattern.columnRows[k]] = k;
        matrix.forEach(pattern.order[own], [&](int j, float value) {
            const int other = pattern.inverse[j];
            m_finite = m_finite && std::isfinite(value);
            if (other == own) {
                m_memory.diagonal[own] += value;
            } else if (other > own) {
                const bool there = placeInOwn[other] >= begin;
                if (there) add(placeInOwn[other], value);
                known = known && there;
            } else {
                int& place = next[other];
                const int end = pattern.columns[other + 1];
                while (place < end && pattern.columnRows[place] < own) ++place;
                const bool there = place < end && pattern.columnRows[place] == own;
                if (there) add(place, value);
                known = known && there;
            }
        });
    }
    return known;
}

bool SparseCholesky::factorise() {
    m_factorised = m_finite && factoriseFronts(m_tree, m_memory);
    return m_factorised;
}

void SparseCholesky::findResidual(const double* b, const double* x, double* residual) const {
    const EliminationPattern& pattern = m_tree.pattern;
    std::copy_n(b, pattern.n, residual);
    for (int j = 0; j < pattern.n; ++j) {
        double sum = static_cast<double>(m_memory.diagonal[j]) * x[j];
        for (int k = pattern.columns[j]; k < pattern.columns[j + 1]; ++k) {
            const int i = pattern.columnRows[k];
            const auto value = static_cast<double>(m_memory.below[k]);
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
        x[i] = b[i] / m_memory.diagonal[k];
        finite = finite && std::isfinite(x[i]);
    }
    return finite;
}

bool SparseCholesky::solve(const float* b, float* x, int maxSteps, int* steps) {
    *steps = 0;
    const EliminationPattern& pattern = m_tree.pattern;
    if (pattern.columnRows.empty()) return solveDiagonal(b, x);
    constexpr double kBelowRounding = 0x1p-26;  // of the largest element: nothing that the rounding to float keeps
    const int n = pattern.n;
    Layout layout;
    Substitution substitution(m_tree, layout);
    const std::size_t yPlace = layout.add<float>(n), scaledPlace = layout.add<double>(n),
                      solutionPlace = layout.add<double>(n), residualPlace = layout.add<double>(n);
    m_memory.workspace.provideFor(layout);
    float* const y = m_memory.workspace.at<float>(yPlace);
    double* const scaled = m_memory.workspace.at<double>(scaledPlace);
    double* const solution = m_memory.workspace.at<double>(solutionPlace);
    double* const residual = m_memory.workspace.at<double>(residualPlace);

    // A right-hand side near the denormals, which the substitution flushes, is solved as one near 1.
    const double scale = scaleToOne(largest(b, n));
    forEachElement(n, [&](int k) {
        scaled[k] = static_cast<double>(b[pattern.order[k]]) * scale;
        y[k] = static_cast<float>(scaled[k]);
    });
    substitution.run(m_memory, y);
    forEachElement(n, [&](int k) { solution[k] = static_cast<double>(y[k]); });
    const double size = largest(y, n);
    double correction = size;
    while (*steps < maxSteps && correction > 0 && std::isfinite(correction)) {
        findResidual(scaled, solution, residual);
        forEachElement(n, [&](int k) { y[k] = static_cast<float>(residual[k]); });
        substitution.run(m_memory, y);
        const double before = correction;
        correction = largest(y, n);
        const double gain = correction / before;
        if (!(gain < 0.5)) {
            if (*steps == 0) return false;
            break;
        }
        ++*steps;
        forEachElement(n, [&](int k) { solution[k] += static_cast<double>(y[k]); });
        if (correction * gain <= kBelowRounding * size) break;
    }
    std::atomic<bool> finite{true};
    forEachElement(n, [&](int k) {
        const auto value = static_cast<float>(solution[k] / scale);
        if (!std::isfinite(value)) finite.store(false, std::memory_order_relaxed);
        x[pattern.order[k]] = value;
    });
    return finite;
}

}  // namespace kestrova::solver
