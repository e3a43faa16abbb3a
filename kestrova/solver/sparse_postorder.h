#pragma once

#include <utility>

#include "kestrova/frame/steps.h"
#include "kestrova/solver/sparse_ordering.h"

// The elimination forest (Liu, "The Role of Elimination Trees in Sparse Factorization", SIAM J. Matrix Anal. Appl. 11,
// 1990) and its postorder. Internal.

namespace kestrova::solver {

/// A run of columns. Those of a part have entries only in rows of their part and in rows behind that are in no part.
struct Section {
    Range columns;
    bool part;
};

/// Trees within a part of an order are found and traversed by one thread each; what stands above them, by the calling
/// thread.
class EliminationForest {
public:
    /// `forEachLeft(row, visit)` visits the columns of a row's entries left of the diagonal. Rows and columns are
    /// counted in that order.
    template <class ForEachLeft>
    EliminationForest(const EliminationOrder& order, const ForEachLeft& forEachLeft) : EliminationForest(order) {
        const int parts = static_cast<int>(order.parts.size());
        frame::Steps<3> steps;
        frame::withTeam(frame::workerCount(parts), [&](int) noexcept {
            return steps.join({parts, 1, parts}, [&](int step, int piece) noexcept {
                if (step == 0) findParents(order.parts[piece], forEachLeft);
                if (step == 1) forEachRangeBetween([&](Range range) { findParents(range, forEachLeft); });
                if (step == 2) traversePart(piece);
            });
        });
    }

    /// The rows of the matrix, children before parents and subtrees together. `sections` receives all columns: the
    /// parts, as they lie then, and what is between.
    SolverArray<int> postorder(SolverArray<Section>& sections);

private:
    static constexpr int kNone = -1;

    /// A tree of a part: where its nodes stand in `m_nodes`.
    struct Tree {
        int root, part;
        Range nodes;
    };

    explicit EliminationForest(const EliminationOrder& order);

    template <class Visit>
    void forEachRangeBetween(const Visit& visit) const {
        int begin = 0;
        for (const Range& part : m_order.parts) {
            visit(Range{begin, part.begin});
            begin = part.end;
        }
        visit(Range{begin, static_cast<int>(m_parent.size())});
    }

    /// The parent of a column is the first row below the diagonal in the factor's column.
    template <class ForEachLeft>
    void findParents(Range rows, const ForEachLeft& forEachLeft) {
        SolverArray<int>& ancestor = m_child;  // children are looked for when ancestors are not needed any more
        for (int row = rows.begin; row < rows.end; ++row) {
            m_parent[row] = ancestor[row] = kNone;
            forEachLeft(row, [&](int node) {
                while (ancestor[node] != kNone && ancestor[node] != row) node = std::exchange(ancestor[node], row);
                if (ancestor[node] == kNone) ancestor[node] = m_parent[node] = row;
            });
        }
    }

    template <class Outside>
    void link(int node, int& firstRoot, const Outside& outside);
    template <class Visit, class Outside>
    void traverse(int firstRoot, const Visit& visit, const Outside& outside) const;
    void traversePart(int part);
    SolverArray<Tree> findTrees();

    const EliminationOrder& m_order;
    SolverArray<int> m_parent, m_child, m_sibling;
    SolverArray<int> m_nodes;      ///< of each part, in postorder
    SolverArray<int> m_firstRoot;  ///< of each part; the others are its siblings
};

}  // namespace kestrova::solver
