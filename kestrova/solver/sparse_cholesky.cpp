#include "kestrova/solver/sparse_cholesky.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "kestrova/frame/parallel.h"
#include "kestrova/solver/denormals.h"
#include "kestrova/solver/sparse_kernels.h"

namespace kestrova::solver {

using namespace frame;

namespace {

/// Work below this, in multiplications, does not pay for waking a team.
constexpr double kForkWork = 2e6;
/// Fronts of fewer elements are eliminated by one thread.
constexpr std::int64_t kSharedFront = 1 << 16;
/// Columns of a front that one thread takes at a time.
constexpr int kSharedColumns = 64;

int workersFor(const FrontTree& tree, double work) {
    return work < kForkWork ? 1 : std::max(1, workerCount(std::max(2, static_cast<int>(tree.tasks.size()))));
}

/// `parallelTasks` with denormals as zero on every thread.
template <class Task>
void runTasks(int workers, int tasks, const Task& task) {
    parallelTasks(workers, tasks, [&](int i, int worker) noexcept {
        const DenormalsAreZero flush;
        task(i, worker);
    });
}

/// One run of the factorisation through the tree.
class Factorisation {
public:
    Factorisation(const FrontTree& tree, const float* diagonal, const float* values, float* factor)
        : m_tree(tree),
          m_diagonal(diagonal),
          m_values(values),
          m_factor(factor),
          m_workers(workersFor(tree, tree.work)),
          m_scratch(static_cast<std::size_t>(m_workers)),
          m_own(tree.fronts.size()) {
        for (Scratch& scratch : m_scratch) {
            for (int s : {0, 1}) scratch.stacks[s].resize(static_cast<std::size_t>(tree.stackSize[s]));
            scratch.packed.resize(static_cast<std::size_t>(packedSize(tree.largestOrder)));
        }
    }

    /// The tasks first, then the fronts above them level by level; where a level has too few fronts to go round, each
    /// is shared by all workers.
    bool run() {
        for (const FrontTree::Task& task : m_tree.tasks) {
            for (int f = task.begin; f < task.end; ++f) {
                if (m_tree.fronts[f].ownUpdate) provideUpdate(f);
            }
        }
        runTasks(m_workers, static_cast<int>(m_tree.tasks.size()), [&](int t, int worker) noexcept {
            for (int f = m_tree.tasks[t].begin; f < m_tree.tasks[t].end && !m_failed; ++f) factorFront(f, worker, 1);
        });
        for (std::size_t l = 0; l + 1 < m_tree.levels.size() && !m_failed; ++l) {
            const int begin = m_tree.levels[l], count = m_tree.levels[l + 1] - begin;
            for (int k = 0; k < count; ++k) provideUpdate(m_tree.top[begin + k]);
            double work = 0;
            for (int k = 0; k < count; ++k) work += multiplications(m_tree.fronts[m_tree.top[begin + k]]);
            const int apart = count < m_workers || work < kForkWork ? 1 : m_workers;
            runTasks(apart, count, [&](int k, int worker) noexcept {
                factorFront(m_tree.top[begin + k], worker, apart == 1 ? m_workers : 1);
            });
            for (int k = 0; k < count; ++k) releaseChildren(m_tree.top[begin + k]);
        }
        return !m_failed;
    }

private:
    struct Scratch {
        SolverArray<float> stacks[2], packed;
    };

    void provideUpdate(int f) { m_own[f].resize(static_cast<std::size_t>(triangle(m_tree.fronts[f].below))); }

    void releaseChildren(int f) {
        for (int c = m_tree.fronts[f].firstChild; c >= 0; c = m_tree.fronts[c].nextSibling) m_own[c] = {};
    }

    float* updateOf(int f, int worker) {
        const Front& front = m_tree.fronts[f];
        return front.ownUpdate ? m_own[f].data() : m_scratch[worker].stacks[front.stack].data() + front.update;
    }

    void factorFront(int f, int worker, int sharers) noexcept {
        const Front& front = m_tree.fronts[f];
        const FrontMatrix matrix{m_factor + front.factor, updateOf(f, worker), front.order(), front.pivots};
        assemble(front, matrix, worker);
        float* packed = m_scratch[worker].packed.data();
        for (int begin = 0; begin < front.pivots; begin += kBlock) {
            const int end = std::min(begin + kBlock, front.pivots);
            if (!factorBlock(matrix, begin, end, packed)) {
                m_failed = true;
                return;
            }
            const std::int64_t rest = matrix.order - end;
            if (sharers == 1 || rest * rest < kSharedFront) {
                eliminateBlock(matrix, begin, end, packed, end, matrix.order);
                continue;
            }
            const int shares = static_cast<int>((rest + kSharedColumns - 1) / kSharedColumns);
            runTasks(sharers, shares, [&](int s, int) noexcept {
                const std::int64_t first = end + static_cast<std::int64_t>(s) * kSharedColumns;
                eliminateBlock(matrix, begin, end, packed, first, std::min(first + kSharedColumns, matrix.order));
            });
        }
    }

    /// The front's own entries of the matrix, and the updates of its children.
    void assemble(const Front& front, const FrontMatrix& matrix, int worker) {
        std::fill_n(matrix.pivotColumns, trapezoid(front.order(), front.pivots), 0.0f);
        std::fill_n(matrix.update, triangle(front.below), 0.0f);
        const int* below = m_tree.rows.data() + front.rows;
        for (int p = 0; p < front.pivots; ++p) {
            const int j = front.first + p;
            float* column = matrix.column(p);
            column[p] = m_diagonal[j];
            for (std::int64_t k = m_tree.columns[j]; k < m_tree.columns[j + 1]; ++k) {
                const int row = m_tree.columnRows[k];
                const std::int64_t place =
                    row < front.first + front.pivots
                        ? row - front.first
                        : front.pivots + (std::lower_bound(below, below + front.below, row) - below);
                column[place] += m_values[k];
            }
        }
        for (int c = front.firstChild; c >= 0; c = m_tree.fronts[c].nextSibling) {
            const Front& child = m_tree.fronts[c];
            const int* places = m_tree.places.data() + child.rows;
            const float* from = updateOf(c, worker);
            for (int j = 0; j < child.below; ++j) {
                float* column = matrix.column(places[j]);
                for (int i = j; i < child.below; ++i) column[places[i]] += *from++;
            }
        }
    }

    const FrontTree& m_tree;
    const float* m_diagonal;
    const float* m_values;
    float* m_factor;
    int m_workers;
    SolverArray<Scratch> m_scratch;
    SolverArray<SolverArray<float>> m_own;  ///< updates that outlive their task, by front
    std::atomic<bool> m_failed{false};
};

/// The two substitutions through the tree, on a vector in the order of elimination.
class Substitution {
public:
    Substitution(const FrontTree& tree, const float* factor)
        : m_tree(tree),
          m_factor(factor),
          m_workers(workersFor(tree, static_cast<double>(tree.factorSize))),
          m_updates(tree.rows.size()),
          m_scratch(static_cast<std::size_t>(m_workers)) {
        for (SolverArray<float>& scratch : m_scratch) scratch.resize(static_cast<std::size_t>(tree.largestOrder));
    }

    void run(float* y) {
        const int tasks = static_cast<int>(m_tree.tasks.size());
        runTasks(m_workers, tasks, [&](int t, int worker) noexcept {
            for (int f = m_tree.tasks[t].begin; f < m_tree.tasks[t].end; ++f) forward(f, y, worker);
        });
        const DenormalsAreZero flush;
        for (std::size_t k = 0; k < m_tree.top.size(); ++k) forward(m_tree.top[k], y, 0);
        for (std::size_t k = m_tree.top.size(); k-- > 0;) backward(m_tree.top[k], y, 0);
        runTasks(m_workers, tasks, [&](int t, int worker) noexcept {
            for (int f = m_tree.tasks[t].end; f-- > m_tree.tasks[t].begin;) backward(f, y, worker);
        });
    }

private:
    FrontMatrix matrix(const Front& front) const {
        // substitution only reads the factor
        return {const_cast<float*>(m_factor) + front.factor, nullptr, front.order(), front.pivots};
    }

    void forward(int f, float* y, int worker) noexcept {
        const Front& front = m_tree.fronts[f];
        float* v = m_scratch[worker].data();
        std::copy_n(y + front.first, front.pivots, v);
        std::fill_n(v + front.pivots, front.below, 0.0f);
        for (int c = front.firstChild; c >= 0; c = m_tree.fronts[c].nextSibling) {
            const Front& child = m_tree.fronts[c];
            for (std::int64_t k = child.rows; k < child.rows + child.below; ++k) v[m_tree.places[k]] += m_updates[k];
        }
        substituteForward(matrix(front), v);
        std::copy_n(v, front.pivots, y + front.first);
        std::copy_n(v + front.pivots, front.below, m_updates.data() + front.rows);
    }

    void backward(int f, float* y, int worker) noexcept {
        const Front& front = m_tree.fronts[f];
        float* v = m_scratch[worker].data();
        std::copy_n(y + front.first, front.pivots, v);
        for (int k = 0; k < front.below; ++k) v[front.pivots + k] = y[m_tree.rows[front.rows + k]];
        substituteBackward(matrix(front), v);
        std::copy_n(v, front.pivots, y + front.first);
    }

    const FrontTree& m_tree;
    const float* m_factor;
    int m_workers;
    SolverArray<float> m_updates;  ///< what each front leaves to the rows below it
    SolverArray<SolverArray<float>> m_scratch;
};

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
      m_diagonal(static_cast<std::size_t>(matrix.n)),
      m_values(m_tree.columnRows.size()),
      m_factor(static_cast<std::size_t>(m_tree.factorSize)) {}

bool SparseCholesky::setValues(const SparseRows& matrix) {
    m_factorised = false;
    std::fill(m_diagonal.begin(), m_diagonal.end(), 0.0f);
    std::fill(m_values.begin(), m_values.end(), 0.0f);
    bool known = true;
    matrix.forEach([&](int i, int j, float value) {
        const auto [column, row] = std::minmax(m_tree.inverse[i], m_tree.inverse[j]);
        if (column == row) {
            m_diagonal[row] += value;
            return;
        }
        const auto begin = m_tree.columnRows.begin() + m_tree.columns[column];
        const auto end = m_tree.columnRows.begin() + m_tree.columns[column + 1];
        const auto entry = std::lower_bound(begin, end, row);
        if (entry == end || *entry != row) {
            known = false;
        } else {
            m_values[static_cast<std::size_t>(entry - m_tree.columnRows.begin())] += value;
        }
    });
    return known;
}

bool SparseCholesky::factorise() {
    const auto finite = [](float v) { return std::isfinite(v); };
    m_factorised = std::all_of(m_diagonal.begin(), m_diagonal.end(), finite) &&
                   std::all_of(m_values.begin(), m_values.end(), finite) &&
                   Factorisation(m_tree, m_diagonal.data(), m_values.data(), m_factor.data()).run();
    return m_factorised;
}

void SparseCholesky::findResidual(const SolverArray<double>& b, const SolverArray<double>& x,
                                  SolverArray<double>& residual) const {
    const int n = m_tree.n;
    std::copy(b.begin(), b.end(), residual.begin());
    for (int j = 0; j < n; ++j) {
        double sum = static_cast<double>(m_diagonal[j]) * x[j];
        for (std::int64_t k = m_tree.columns[j]; k < m_tree.columns[j + 1]; ++k) {
            const int i = m_tree.columnRows[k];
            const auto value = static_cast<double>(m_values[k]);
            sum += value * x[i];
            residual[i] -= value * x[j];
        }
        residual[j] -= sum;
    }
}

bool SparseCholesky::solveDiagonal(const float* b, float* x) const {
    bool finite = true;
    for (int k = 0; k < m_tree.n; ++k) {
        const int i = m_tree.order[k];
        x[i] = b[i] / m_diagonal[k];
        finite = finite && std::isfinite(x[i]);
    }
    return finite;
}

bool SparseCholesky::solve(const float* b, float* x, int maxSteps, int* steps) const {
    *steps = 0;
    if (m_tree.columnRows.empty()) return solveDiagonal(b, x);
    constexpr double kBelowRounding = 0x1p-26;  // of the largest element: nothing that the rounding to float keeps
    const auto n = static_cast<std::size_t>(m_tree.n);
    Substitution substitution(m_tree, m_factor.data());
    SolverArray<float> y(n);
    SolverArray<double> scaled(n), solution(n), residual(n);

    // A right-hand side near the denormals, which the substitution flushes, is solved as one near 1.
    const double scale = scaleToOne(largest(b, n));
    for (std::size_t k = 0; k < n; ++k) {
        scaled[k] = static_cast<double>(b[m_tree.order[k]]) * scale;
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
        x[m_tree.order[k]] = value;
    }
    return finite;
}

}  // namespace kestrova::solver
