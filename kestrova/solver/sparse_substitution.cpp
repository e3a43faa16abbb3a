#include "kestrova/solver/sparse_substitution.h"

#include <algorithm>

#include "kestrova/frame/steps.h"
#include "kestrova/solver/denormals.h"
#include "kestrova/solver/sparse_kernels.h"

namespace kestrova::solver {

using namespace frame;

namespace {

/// A factor of fewer floats does not pay for waking a team.
constexpr std::int64_t kForkFactor = 1 << 18;

}  // namespace

Substitution::Substitution(const FrontTree& tree, Layout& layout)
    : m_tree(tree),
      m_workers(tree.factorSize < kForkFactor ? 1 : workerCount(std::max(2, static_cast<int>(tree.tasks.size())))),
      m_updatesPlace(layout.add<float>(static_cast<std::int64_t>(tree.rows.size()))) {
    for (int w = 0; w < m_workers; ++w) m_scratchPlaces.push_back(layout.add<float>(tree.largestOrder));
}

void Substitution::run(SolverMemory& memory, float* y) {
    m_factor = memory.factor.data();
    m_updates = memory.workspace.at<float>(m_updatesPlace);
    const int tasks = static_cast<int>(m_tree.tasks.size()), stages = static_cast<int>(m_tree.stages.size());
    SolverArray<Step> steps(static_cast<std::size_t>(2 * (1 + stages)));
    withTeam(m_workers, [&](int worker) noexcept {
        const DenormalsAreZero flush;
        ThreadTime waited;
        Step* step = steps.data();
        float* v = memory.workspace.at<float>(m_scratchPlaces[static_cast<std::size_t>(worker)]);
        const auto join = [&](int pieces, const auto& work) noexcept { (step++)->join(pieces, work, waited); };
        // Calls `work(begin, end)` for parts of the stage in `top`.
        const auto joinStage = [&](const FrontTree::Stage& stage, const auto& work) noexcept {
            const int begin = m_tree.levels[stage.begin], count = m_tree.levels[stage.end] - begin;
            join(stage.shared ? count : 1, [&](int piece) noexcept {
                if (stage.shared) {
                    work(begin + piece, begin + piece + 1);
                } else {
                    work(begin, begin + count);
                }
            });
        };

        join(tasks, [&](int t) noexcept {
            for (int f = m_tree.tasks[t].begin; f < m_tree.tasks[t].end; ++f) forward(f, y, v);
        });
        for (int s = 0; s < stages; ++s) {
            joinStage(m_tree.stages[s], [&](int begin, int end) noexcept {
                for (int k = begin; k < end; ++k) forward(m_tree.top[k], y, v);
            });
        }
        for (int s = stages; s-- > 0;) {
            joinStage(m_tree.stages[s], [&](int begin, int end) noexcept {
                for (int k = end; k-- > begin;) backward(m_tree.top[k], y, v);
            });
        }
        join(tasks, [&](int t) noexcept {
            for (int f = m_tree.tasks[t].end; f-- > m_tree.tasks[t].begin;) backward(f, y, v);
        });
        return waited;
    });
}

/// Through the front's pivots: their part of the solution, and what is left to the rows below.
void Substitution::forward(int f, float* y, float* v) noexcept {
    const Front& front = m_tree.fronts[f];
    std::copy_n(y + front.first, front.pivots, v);
    std::fill_n(v + front.pivots, front.below, 0.0f);
    for (int c = front.firstChild; c >= 0; c = m_tree.fronts[c].nextSibling) {
        const Front& child = m_tree.fronts[c];
        for (std::int64_t k = child.rows; k < child.rows + child.below; ++k) v[m_tree.places[k]] += m_updates[k];
    }
    substituteForward(m_factor + front.factor, front.order(), front.pivots, v);
    std::copy_n(v, front.pivots, y + front.first);
    std::copy_n(v + front.pivots, front.below, m_updates + front.rows);
}

/// The front's pivots from the rows below.
void Substitution::backward(int f, float* y, float* v) noexcept {
    const Front& front = m_tree.fronts[f];
    std::copy_n(y + front.first, front.pivots, v);
    for (int k = 0; k < front.below; ++k) v[front.pivots + k] = y[m_tree.rows[front.rows + k]];
    substituteBackward(m_factor + front.factor, front.order(), front.pivots, v);
    std::copy_n(v, front.pivots, y + front.first);
}

}  // namespace kestrova::solver
