#include "kestrova/solver/sparse_fronts.h"

#include <algorithm>

namespace kestrova::solver {

namespace {

/// The tree is cut into tasks of no more than this part of the whole work.
constexpr int kTasks = 48;
/// Levels of less work, in multiplications, are not worth the meetings of threads.
constexpr double kSharedWork = 2e6;

/// Lists of row or column numbers, one for each column or row: list i is entries[starts[i]] .. entries[starts[i + 1]].
struct Lists {
    SolverArray<std::int64_t> starts;
    SolverArray<int> entries;
};

/// Of `n` lists, from the pairs (list, entry) that `each` visits, twice in the same order.
template <class Each>
Lists listsOf(int n, const Each& each) {
    Lists lists;
    lists.starts.assign(static_cast<std::size_t>(n) + 1, 0);
    each([&](int list, int) { ++lists.starts[list + 1]; });
    for (int i = 0; i < n; ++i) lists.starts[i + 1] += lists.starts[i];
    lists.entries.resize(static_cast<std::size_t>(lists.starts[n]));
    each([&](int list, int entry) { lists.entries[lists.starts[list]++] = entry; });
    for (int i = n; i > 0; --i) lists.starts[i] = lists.starts[i - 1];
    lists.starts[0] = 0;
    return lists;
}

/// For each row of the reordered matrix the columns of its entries left of the diagonal.
Lists leftOfDiagonal(const SparseRows& matrix, const SolverArray<int>& inverse) {
    return listsOf(matrix.n, [&](const auto& visit) {
        matrix.forEach([&](int i, int j, float) {
            if (i == j) return;
            const auto [column, row] = std::minmax(inverse[i], inverse[j]);
            visit(row, column);
        });
    });
}

/// For each column the rows of its entries below the diagonal, ascending.
Lists belowDiagonal(const Lists& left) {
    const int n = static_cast<int>(left.starts.size()) - 1;
    return listsOf(n, [&](const auto& visit) {
        for (int row = 0; row < n; ++row) {
            for (std::int64_t k = left.starts[row]; k < left.starts[row + 1]; ++k) visit(left.entries[k], row);
        }
    });
}

/// The elimination tree: the parent of column j is the first row below the diagonal of the factor's column j.
SolverArray<int> eliminationTree(const Lists& left) {
    const int n = static_cast<int>(left.starts.size()) - 1;
    SolverArray<int> parent(static_cast<std::size_t>(n), -1), ancestor(static_cast<std::size_t>(n), -1);
    for (int row = 0; row < n; ++row) {
        for (std::int64_t k = left.starts[row]; k < left.starts[row + 1]; ++k) {
            int node = left.entries[k];
            while (ancestor[node] >= 0 && ancestor[node] != row) {
                const int next = ancestor[node];
                ancestor[node] = row;
                node = next;
            }
            if (ancestor[node] < 0) ancestor[node] = parent[node] = row;
        }
    }
    return parent;
}

/// The nodes of a forest, children before parents and subtrees together.
SolverArray<int> postorder(const SolverArray<int>& parent) {
    const int n = static_cast<int>(parent.size());
    SolverArray<int> child(parent.size(), -1), sibling(parent.size()), order;
    order.reserve(parent.size());
    int root = -1;
    for (int i = n; i-- > 0;) {
        int& head = parent[i] < 0 ? root : child[parent[i]];
        sibling[i] = head;
        head = i;
    }
    for (int node = root; node >= 0;) {
        while (child[node] >= 0) node = child[node];
        order.push_back(node);
        while (sibling[node] < 0 && parent[node] >= 0) {
            node = parent[node];
            order.push_back(node);
        }
        node = sibling[node];
    }
    return order;
}

}  // namespace

double multiplications(const Front& front) {
    double sum = 0;
    for (int j = 0; j < front.pivots; ++j) sum += static_cast<double>(triangle(front.order() - j));
    return sum;
}

FrontTree::FrontTree(const SparseRows& matrix) : n(matrix.n) {
    findColumns(matrix);
    findFronts();
    linkFronts();
    findTasks();
    findStages();
    placeTaskUpdates();
    placeTopUpdates();
}

void FrontTree::findColumns(const SparseRows& matrix) {
    order = fillReducingOrder(matrix);
    inverse.resize(order.size());
    const auto invert = [&] {
        for (int k = 0; k < n; ++k) inverse[order[k]] = k;
    };
    invert();
    SolverArray<int> post = postorder(eliminationTree(leftOfDiagonal(matrix, inverse)));
    for (int& node : post) node = order[node];
    order.swap(post);
    invert();
    Lists below = belowDiagonal(leftOfDiagonal(matrix, inverse));
    columns.swap(below.starts);
    columnRows.swap(below.entries);
}

/// Column by column: the structure of a column is that of the matrix together with that of its children in the tree. A
/// column whose only child has the same structure joins that child's run.
SolverArray<FrontTree::Run> FrontTree::findRuns() {
    SolverArray<Run> runs;
    SolverArray<int> mark(static_cast<std::size_t>(n), -1);       // last run that holds the row
    SolverArray<int> headChild(static_cast<std::size_t>(n), -1);  // runs whose first row below is this one
    SolverArray<int> nextChild;
    for (int j = 0; j < n; ++j) {
        const int id = static_cast<int>(runs.size());
        if (id > 0) {
            Run& last = runs[id - 1];
            const auto within = [&](int row) { return mark[row] == id - 1; };
            if (last.below > 0 && rows[last.rows] == j && headChild[j] < 0 &&
                std::all_of(columnRows.begin() + columns[j], columnRows.begin() + columns[j + 1], within)) {
                last.last = j;
                ++last.rows;
                --last.below;
                continue;
            }
            if (last.below > 0) {
                int& head = headChild[rows[last.rows]];
                nextChild[id - 1] = head;
                head = id - 1;
            }
        }
        const auto begin = static_cast<std::int64_t>(rows.size());
        const auto add = [&](int row) {
            if (row == j || mark[row] == id) return;
            mark[row] = id;
            rows.push_back(row);
        };
        for (std::int64_t k = columns[j]; k < columns[j + 1]; ++k) add(columnRows[k]);
        for (int c = headChild[j]; c >= 0; c = nextChild[c]) {
            const Run child = runs[c];
            for (std::int64_t k = child.rows; k < child.rows + child.below; ++k) add(rows[k]);
        }
        std::sort(rows.begin() + begin, rows.end());
        runs.push_back({j, j, begin, static_cast<int>(static_cast<std::int64_t>(rows.size()) - begin), 0});
        nextChild.push_back(-1);
    }
    return runs;
}

/// Joins a run with the child run before it where the larger front pays for the zeros that it stores: always where it
/// has so few pivots that a front of its own costs more.
bool FrontTree::joined(Run& run, const Run& child) {
    constexpr int kFewPivots = 4, kSomePivots = 16;
    constexpr double kZerosAmongSome = 0.3, kZerosAmongMany = 0.05;  // as parts of the entries
    Run both = run;
    both.first = child.first;
    both.zeros = both.entries() - (run.entries() - run.zeros) - (child.entries() - child.zeros);
    const double zeros = static_cast<double>(both.zeros) / static_cast<double>(both.entries());
    const int pivots = both.pivots();
    const bool pays = pivots <= kFewPivots || zeros < (pivots <= kSomePivots ? kZerosAmongSome : kZerosAmongMany);
    if (pays) run = both;
    return pays;
}

void FrontTree::findFronts() {
    SolverArray<Run> kept;
    for (Run run : findRuns()) {
        while (!kept.empty() && kept.back().below > 0 && rows[kept.back().rows] >= run.first &&
               rows[kept.back().rows] <= run.last && joined(run, kept.back())) {
            kept.pop_back();
        }
        kept.push_back(run);
    }

    std::size_t keptCount = 0;
    for (const Run& run : kept) keptCount += static_cast<std::size_t>(run.below);
    SolverArray<int> keptRows;
    keptRows.reserve(keptCount);
    fronts.reserve(kept.size());
    for (const Run& run : kept) {
        Front front{
            run.first, run.pivots(), run.below, -1, -1, -1, static_cast<std::int64_t>(keptRows.size()), factorSize,
            0,         false,        0};
        keptRows.insert(keptRows.end(), rows.begin() + run.rows, rows.begin() + run.rows + run.below);
        factorSize += run.entries();
        largestOrder = std::max(largestOrder, front.order());
        fronts.push_back(front);
    }
    rows.swap(keptRows);
}

void FrontTree::linkFronts() {
    SolverArray<int> frontOf(static_cast<std::size_t>(n));
    for (int f = 0; f < static_cast<int>(fronts.size()); ++f) {
        for (int j = 0; j < fronts[f].pivots; ++j) frontOf[fronts[f].first + j] = f;
    }
    places.resize(rows.size());
    for (int f = static_cast<int>(fronts.size()); f-- > 0;) {
        Front& front = fronts[f];
        if (front.below == 0) continue;
        front.parent = frontOf[rows[front.rows]];
        Front& parent = fronts[front.parent];
        front.nextSibling = parent.firstChild;
        parent.firstChild = f;
        int p = 0;
        for (std::int64_t k = front.rows; k < front.rows + front.below; ++k) {
            if (rows[k] < parent.first + parent.pivots) {
                places[k] = rows[k] - parent.first;
            } else {
                while (rows[parent.rows + p] != rows[k]) ++p;
                places[k] = parent.pivots + p;
            }
        }
    }
}

/// What each front costs together with all beneath it; `work` becomes the whole.
SolverArray<double> FrontTree::findWork() {
    constexpr double kPerFront = 2000;  // what a front costs beside its multiplications, in these
    SolverArray<double> subtree(fronts.size(), 0.0);
    for (std::size_t f = 0; f < fronts.size(); ++f) {
        const double own = kPerFront + multiplications(fronts[f]);
        work += own;
        subtree[f] += own;
        if (fronts[f].parent >= 0) subtree[fronts[f].parent] += subtree[f];
    }
    return subtree;
}

/// The fronts whose subtrees are too large for a task are the top of the tree. The subtrees beneath the top become
/// tasks, small ones together with their neighbours.
void FrontTree::findTasks() {
    const int count = static_cast<int>(fronts.size());
    const SolverArray<double> subtree = findWork();
    const double largestTask = work / kTasks;
    const auto inTop = [&](int f) { return subtree[f] > largestTask; };

    int begin = 0;
    double gathered = 0;
    const auto finishTask = [&](int end, int nextBegin) {
        if (begin < end) tasks.push_back({begin, end});
        begin = nextBegin;
        gathered = 0;
    };
    SolverArray<int> topFronts;
    for (int f = 0; f < count; ++f) {
        if (inTop(f)) {
            fronts[f].sharedUpdate = true;
            topFronts.push_back(f);
            finishTask(f, f + 1);
            continue;
        }
        const int parent = fronts[f].parent;
        const bool rootsSubtree = parent < 0 || inTop(parent);
        fronts[f].sharedUpdate = rootsSubtree;
        if (!rootsSubtree) continue;
        gathered += subtree[f];
        if (gathered > largestTask / 2) finishTask(f + 1, f + 1);
    }
    finishTask(count, count);
    sortByLevel(topFronts);
}

/// A front of the top stands one level before its parent: so its update is wanted no longer than through that level.
void FrontTree::sortByLevel(const SolverArray<int>& topFronts) {
    SolverArray<int> depth(fronts.size(), 0);
    int deepest = -1;
    for (std::size_t k = topFronts.size(); k-- > 0;) {
        const int f = topFronts[k], parent = fronts[f].parent;
        if (parent >= 0) depth[f] = depth[parent] + 1;
        deepest = std::max(deepest, depth[f]);
    }
    levels.assign(static_cast<std::size_t>(deepest) + 2, 0);
    for (int f : topFronts) ++levels[deepest - depth[f] + 1];
    for (int l = 0; l <= deepest; ++l) levels[l + 1] += levels[l];
    top.resize(topFronts.size());
    SolverArray<int> next = levels;
    for (int f : topFronts) top[next[deepest - depth[f]]++] = f;
}

void FrontTree::findStages() {
    for (int l = 0; l + 1 < static_cast<int>(levels.size()); ++l) {
        double levelWork = 0;
        for (int k = levels[l]; k < levels[l + 1]; ++k) levelWork += multiplications(fronts[top[k]]);
        const bool shared = levelWork >= kSharedWork;
        if (shared || stages.empty() || stages.back().shared) {
            stages.push_back({l, l + 1, shared});
        } else {
            stages.back().end = l + 1;
        }
    }
}

/// A front's children lie on the one stack and its own update goes on the other, so that both are last in, first out.
/// The updates of whole subtrees lie side by side.
void FrontTree::placeTaskUpdates() {
    for (int f = static_cast<int>(fronts.size()); f-- > 0;) {
        Front& front = fronts[f];
        front.stack = front.parent < 0 ? 0 : 1 - fronts[front.parent].stack;
    }
    for (const Task& task : tasks) {
        std::int64_t used[2] = {0, 0};
        for (int f = task.begin; f < task.end; ++f) {
            Front& front = fronts[f];
            largestTaskOrder = std::max(largestTaskOrder, front.order());
            std::int64_t& end = front.sharedUpdate ? sharedUpdates : used[front.stack];
            front.update = end;
            end += triangle(front.below);
            if (!front.sharedUpdate) stackSize[front.stack] = std::max(stackSize[front.stack], end);
            for (int c = front.firstChild; c >= 0; c = fronts[c].nextSibling) {
                used[1 - front.stack] -= triangle(fronts[c].below);
            }
        }
    }
}

/// Behind those of the tasks are two places, of which the levels take turns.
void FrontTree::placeTopUpdates() {
    std::int64_t size[2] = {0, 0};
    const int levelCount = static_cast<int>(levels.size()) - 1;
    for (int l = 0; l < levelCount; ++l) {
        std::int64_t used = 0;
        for (int k = levels[l]; k < levels[l + 1]; ++k) {
            fronts[top[k]].update = used;
            used += triangle(fronts[top[k]].below);
        }
        size[l % 2] = std::max(size[l % 2], used);
    }
    for (int l = 0; l < levelCount; ++l) {
        const std::int64_t place = sharedUpdates + (l % 2 == 0 ? 0 : size[0]);
        for (int k = levels[l]; k < levels[l + 1]; ++k) fronts[top[k]].update += place;
    }
    sharedUpdates += size[0] + size[1];
}

}  // namespace kestrova::solver
