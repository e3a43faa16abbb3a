#include "kestrova/solver/sparse_postorder.h"

#include <algorithm>

namespace kestrova::solver {

using namespace frame;

EliminationForest::EliminationForest(const EliminationOrder& order)
    : m_order(order),
      m_parent(order.rows.size()),
      m_child(order.rows.size()),
      m_sibling(order.rows.size()),
      m_nodes(order.rows.size()),
      m_firstRoot(order.parts.size()) {}

/// Puts a node before its siblings. Parents come before children, siblings in descending order.
template <class Outside>
void EliminationForest::link(int node, int& firstRoot, const Outside& outside) {
    m_child[node] = kNone;
    int& first = outside(m_parent[node]) ? firstRoot : m_child[m_parent[node]];
    m_sibling[node] = std::exchange(first, node);
}

template <class Visit, class Outside>
void EliminationForest::traverse(int firstRoot, const Visit& visit, const Outside& outside) const {
    for (int node = firstRoot; node != kNone; node = m_sibling[node]) {
        while (m_child[node] != kNone) node = m_child[node];
        visit(node);
        while (m_sibling[node] == kNone && !outside(m_parent[node])) visit(node = m_parent[node]);
    }
}

/// Leaves with each root, as its child, where its tree begins in `m_nodes`.
void EliminationForest::traversePart(int part) {
    const Range range = m_order.parts[part];
    const auto outside = [range](int parent) { return parent == kNone || parent >= range.end; };
    int root = kNone;
    for (int node = range.end; node-- > range.begin;) link(node, root, outside);
    int end = range.begin, treeBegin = range.begin;
    traverse(
        root,
        [&](int node) {
            m_nodes[end++] = node;
            if (outside(m_parent[node])) m_child[node] = std::exchange(treeBegin, end);
        },
        outside);
    m_firstRoot[part] = root;
}

/// Of all parts, their roots ascending.
SolverArray<EliminationForest::Tree> EliminationForest::findTrees() {
    SolverArray<Tree> trees;
    for (int part = 0; part < static_cast<int>(m_order.parts.size()); ++part) {
        for (int root = m_firstRoot[part]; root != kNone; root = m_sibling[root]) {
            const int next = m_sibling[root];
            const int end = next == kNone ? m_order.parts[part].end : m_child[next];
            trees.push_back({root, part, {m_child[root], end}});
        }
    }
    return trees;
}

SolverArray<int> EliminationForest::postorder(SolverArray<Section>& sections) {
    const SolverArray<Tree> trees = findTrees();
    const auto outside = [](int parent) { return parent == kNone; };

    // What stands between the parts is a forest whose leaves may be whole trees of the parts.
    int root = kNone;
    std::size_t treesLeft = trees.size(), partsLeft = m_order.parts.size();
    for (int node = static_cast<int>(m_parent.size()); node-- > 0;) {
        if (partsLeft == 0 || node >= m_order.parts[partsLeft - 1].end) {
            link(node, root, outside);
            continue;
        }
        const int part = static_cast<int>(--partsLeft);
        while (treesLeft > 0 && trees[treesLeft - 1].part == part) link(trees[--treesLeft].root, root, outside);
        node = m_order.parts[partsLeft].begin;
    }

    SolverArray<int> order(m_parent.size()), places(trees.size());
    int end = 0, lastPart = kNone;
    const auto enterSection = [&](int part) {
        if (sections.empty() || part != lastPart) sections.push_back({{end, end}, part != kNone});
        lastPart = part;
    };
    traverse(
        root,
        [&](int node) {
            const auto tree = std::lower_bound(trees.begin(), trees.end(), node,
                                               [](const Tree& t, int value) { return t.root < value; });
            const bool isTree = tree != trees.end() && tree->root == node;
            enterSection(isTree ? tree->part : kNone);
            if (isTree) {
                places[static_cast<std::size_t>(tree - trees.begin())] = end;
                end += tree->nodes.end - tree->nodes.begin;
            } else {
                order[end++] = m_order.rows[node];
            }
            sections.back().columns.end = end;
        },
        outside);

    const int treeCount = static_cast<int>(trees.size());
    parallelTasks(workerCount(treeCount), treeCount, [&](int t, int) noexcept {
        int place = places[t];
        for (int k = trees[t].nodes.begin; k < trees[t].nodes.end; ++k) order[place++] = m_order.rows[m_nodes[k]];
    });
    return order;
}

}  // namespace kestrova::solver
