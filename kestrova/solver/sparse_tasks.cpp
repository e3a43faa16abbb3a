#include <algorithm>

#include "kestrova/solver/sparse_fronts.h"

// How the work on the fronts is cut into tasks and stages, and where their updates stand.

namespace kestrova::solver {

namespace {

/// The tree is cut into tasks of no more than this part of the whole work.
constexpr int kTasks = 48;
/// Levels of less work, in multiplications, are not worth the meetings of threads.
constexpr double kSharedWork = 2e6;

}  // namespace

double workOf(const Front& front) {
    constexpr double kPerFront = 2000;  // what a front costs beside its multiplications, in these
    double sum = kPerFront;
    for (int j = 0; j < front.pivots; ++j) sum += static_cast<double>(triangle(front.order() - j));
    return sum;
}

/// What each front costs together with all beneath it; `work` becomes the whole.
SolverArray<double> FrontTree::findWork() {
    SolverArray<double> subtree(fronts.size(), 0.0);
    for (std::size_t f = 0; f < fronts.size(); ++f) {
        const double own = workOf(fronts[f]);
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
        for (int k = levels[l]; k < levels[l + 1]; ++k) levelWork += workOf(fronts[top[k]]);
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
