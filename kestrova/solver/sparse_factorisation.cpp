#include "kestrova/solver/sparse_factorisation.h"

#include <algorithm>
#include <atomic>
#include <cstdint>

#include "kestrova/frame/steps.h"
#include "kestrova/solver/denormals.h"
#include "kestrova/solver/sparse_kernels.h"

namespace kestrova::solver {

using namespace frame;

namespace {

/// Work below this, in multiplications, does not pay for waking a team.
constexpr double kForkWork = 2e6;
/// Columns, and chunks of rows, of a shared front that one thread takes at a time.
constexpr int kSharedColumns = 64, kSharedChunks = 8;

int ceilDivide(std::int64_t a, std::int64_t b) { return static_cast<int>((a + b - 1) / b); }

/// One run of the factorisation through the tree, after Duff and Reid, "The Multifrontal Solution of Indefinite Sparse
/// Symmetric Linear Equations" (ACM Trans. Math. Softw. 9, 1983): a front gathers its entries of the matrix and the
/// updates of its children, eliminates its pivots and leaves an update to its parent. A subtree is one thread's work;
/// above the subtrees the threads share each front.
class Factorisation {
public:
    Factorisation(const FrontTree& tree, SolverMemory& memory)
        : m_tree(tree),
          m_memory(memory),
          m_workers(tree.work < kForkWork ? 1 : workerCount(std::max(2, static_cast<int>(tree.tasks.size())))),
          m_packedPlaces(tree.top.size()),
          m_scratch(static_cast<std::size_t>(m_workers)) {
        int steps = 1;
        std::int64_t topPacked = 0;
        for (const FrontTree::Stage& stage : tree.stages) {
            steps += stage.shared ? 1 + 3 * ceilDivide(mostPivots(stage.begin), kBlock) : 1;
            topPacked = std::max(topPacked, placePackedRows(stage));
        }
        SolverArray<Step>(static_cast<std::size_t>(steps)).swap(m_steps);

        Layout layout;
        const std::size_t updates = layout.add<float>(tree.sharedUpdates), packed = layout.add<float>(topPacked);
        SolverArray<std::size_t> places;
        for (int w = 0; w < m_workers; ++w) {
            for (std::int64_t floats : {tree.stackSize[0], tree.stackSize[1], packedSize(tree.largestTaskOrder)}) {
                places.push_back(layout.add<float>(floats));
            }
        }
        Workspace& workspace = memory.workspace;
        workspace.provideFor(layout);
        m_updates = workspace.at<float>(updates);
        m_packed = workspace.at<float>(packed);
        for (std::size_t w = 0; w < m_scratch.size(); ++w) {
            for (std::size_t s : {0, 1}) m_scratch[w].stacks[s] = workspace.at<float>(places[3 * w + s]);
            m_scratch[w].packed = workspace.at<float>(places[3 * w + 2]);
        }
    }

    bool run() {
        withTeam(m_workers, [&](int worker) noexcept {
            const DenormalsAreZero flush;
            ThreadTime waited;
            Step* step = m_steps.data();
            const auto join = [&](int pieces, const auto& work) noexcept {
                const auto unlessFailed = [&](int piece) noexcept {
                    if (!m_failed.load(std::memory_order_relaxed)) work(piece);
                };
                (step++)->join(pieces, unlessFailed, waited);
            };
            const Scratch& scratch = m_scratch[static_cast<std::size_t>(worker)];
            join(static_cast<int>(m_tree.tasks.size()), [&](int t) noexcept {
                for (int f = m_tree.tasks[t].begin; f < m_tree.tasks[t].end; ++f) factorFront(f, scratch);
            });
            for (const FrontTree::Stage& stage : m_tree.stages) {
                if (stage.shared) {
                    shareLevel(stage.begin, join);
                } else {
                    const Scratch unshared{{nullptr, nullptr}, m_packed};
                    join(1, [&](int) noexcept {
                        for (int k = m_tree.levels[stage.begin]; k < m_tree.levels[stage.end]; ++k) {
                            factorFront(m_tree.top[k], unshared);
                        }
                    });
                }
            }
            return waited;
        });
        return !m_failed;
    }

private:
    struct Scratch {
        float* stacks[2];
        float* packed;
    };

    const Front& topFront(int k) const { return m_tree.fronts[m_tree.top[k]]; }

    int mostPivots(int level) const {
        int most = 0;
        for (int k = m_tree.levels[level]; k < m_tree.levels[level + 1]; ++k) {
            most = std::max(most, topFront(k).pivots);
        }
        return most;
    }

    /// Fronts that are shared at the same time have packed rows of their own. Returns what the stage needs.
    std::int64_t placePackedRows(const FrontTree::Stage& stage) {
        std::int64_t used = 0, most = 0;
        for (int k = m_tree.levels[stage.begin]; k < m_tree.levels[stage.end]; ++k) {
            m_packedPlaces[k] = stage.shared ? used : 0;
            used += packedSize(topFront(k).order());
            most = std::max(most, packedSize(topFront(k).order()));
        }
        return stage.shared ? used : most;
    }

    float* updateOf(const Front& front, float* const* stacks) const {
        return (front.sharedUpdate ? m_updates : stacks[front.stack]) + front.update;
    }

    FrontMatrix matrixOf(const Front& front, float* const* stacks) const {
        return {m_memory.factor.data() + front.factor, updateOf(front, stacks), front.order(), front.pivots};
    }

    void factorFront(int f, const Scratch& scratch) noexcept {
        const Front& front = m_tree.fronts[f];
        const FrontMatrix matrix = matrixOf(front, scratch.stacks);
        assemble(front, matrix, scratch.stacks, 0, front.order());
        for (int begin = 0; begin < front.pivots; begin += kBlock) {
            const int end = std::min(begin + kBlock, front.pivots);
            if (!factorPivots(matrix, begin, end, scratch.packed)) {
                m_failed = true;
                return;
            }
            solveRows(matrix, begin, end, scratch.packed, pivotChunks(begin, end), chunksFrom(begin, front.order()));
            eliminateBlock(matrix, begin, end, scratch.packed, end, front.order());
        }
    }

    /// The same for all fronts of a level, with the pieces of all of them in each step.
    template <class Join>
    void shareLevel(int level, const Join& join) noexcept {
        const auto joinFronts = [&](const auto& piecesOf, const auto& work) noexcept {
            int pieces = 0;
            for (int k = m_tree.levels[level]; k < m_tree.levels[level + 1]; ++k) pieces += piecesOf(topFront(k));
            join(pieces, [&](int piece) noexcept {
                int k = m_tree.levels[level];
                for (; piece >= piecesOf(topFront(k)); ++k) piece -= piecesOf(topFront(k));
                work(topFront(k), matrixOf(topFront(k), nullptr), m_packed + m_packedPlaces[k], piece);
            });
        };
        joinFronts([](const Front& front) { return ceilDivide(front.order(), kSharedColumns); },
                   [&](const Front& front, const FrontMatrix& matrix, float*, int strip) noexcept {
                       const int first = strip * kSharedColumns;
                       assemble(front, matrix, nullptr, first, std::min(first + kSharedColumns, front.order()));
                   });
        for (int begin = 0; begin < mostPivots(level); begin += kBlock) {
            const auto endOf = [begin](const Front& front) { return std::min(begin + kBlock, front.pivots); };
            joinFronts([&](const Front& front) { return begin < front.pivots ? 1 : 0; },
                       [&](const Front& front, const FrontMatrix& matrix, float* packed, int) noexcept {
                           if (!factorPivots(matrix, begin, endOf(front), packed)) m_failed = true;
                       });
            const auto chunksBelow = [&](const Front& front) {
                return chunksFrom(begin, front.order()) - pivotChunks(begin, endOf(front));
            };
            joinFronts(
                [&](const Front& front) {
                    return begin < front.pivots ? ceilDivide(chunksBelow(front), kSharedChunks) : 0;
                },
                [&](const Front& front, const FrontMatrix& matrix, float* packed, int piece) noexcept {
                    const std::int64_t first = pivotChunks(begin, endOf(front)) + piece * kSharedChunks;
                    const std::int64_t last = std::min(first + kSharedChunks, chunksFrom(begin, front.order()));
                    solveRows(matrix, begin, endOf(front), packed, first, last);
                });
            joinFronts(
                [&](const Front& front) {
                    return begin < front.pivots ? ceilDivide(front.order() - endOf(front), kSharedColumns) : 0;
                },
                [&](const Front& front, const FrontMatrix& matrix, float* packed, int strip) noexcept {
                    const std::int64_t first = endOf(front) + static_cast<std::int64_t>(strip) * kSharedColumns;
                    const std::int64_t last = std::min(first + kSharedColumns, matrix.order);
                    eliminateBlock(matrix, begin, endOf(front), packed, first, last);
                });
        }
    }

    /// Of the front's columns [first, last): its own entries of the matrix, and the updates of its children in order.
    void assemble(const Front& front, const FrontMatrix& matrix, float* const* stacks, int first, int last) noexcept {
        const auto clear = [&](int begin, int end) {
            if (begin < end) std::fill(matrix.column(begin) + begin, matrix.column(end - 1) + matrix.order, 0.0f);
        };
        const int lastPivot = std::min(last, front.pivots);
        clear(first, lastPivot);
        clear(std::max(first, front.pivots), last);

        const int* below = m_tree.rows.data() + front.rows;
        for (int p = first; p < lastPivot; ++p) {
            const int j = front.first + p;
            float* column = matrix.column(p);
            column[p] = m_memory.diagonal[j];
            for (int k = m_tree.pattern.columns[j]; k < m_tree.pattern.columns[j + 1]; ++k) {
                const int row = m_tree.pattern.columnRows[k];
                const std::int64_t place =
                    row < front.first + front.pivots
                        ? row - front.first
                        : front.pivots + (std::lower_bound(below, below + front.below, row) - below);
                column[place] += m_memory.below[k];
            }
        }
        for (int c = front.firstChild; c >= 0; c = m_tree.fronts[c].nextSibling) {
            const Front& child = m_tree.fronts[c];
            addUpdate(matrix, updateOf(child, stacks), m_tree.places.data() + child.rows, child.below, first, last);
        }
    }

    const FrontTree& m_tree;
    SolverMemory& m_memory;
    int m_workers;
    SolverArray<std::int64_t> m_packedPlaces;  ///< of the fronts of the top, during their stage
    SolverArray<Scratch> m_scratch;            ///< of each worker
    SolverArray<Step> m_steps;
    float* m_updates = nullptr;  ///< that outlive their task
    float* m_packed = nullptr;
    std::atomic<bool> m_failed{false};
};

}  // namespace

bool factoriseFronts(const FrontTree& tree, SolverMemory& memory) { return Factorisation(tree, memory).run(); }

}  // namespace kestrova::solver
