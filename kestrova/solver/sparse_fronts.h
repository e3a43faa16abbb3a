#pragma once

#include <cstdint>

#include "kestrova/solver/sparse_pattern.h"
#include "kestrova/solver/sparse_runs.h"

// What of a multifrontal factorisation depends on the pattern alone (Liu, "The Multifrontal Method for Sparse Matrix
// Solution: Theory and Practice", SIAM Review 34, 1992). Rows are counted from 0 in the order of elimination. Internal.

namespace kestrova::solver {

/// A run of pivots with one structure below them: `pivots` columns from `first` on, and the rows below that they touch.
struct Front {
    int first, pivots, below;
    int parent;                   ///< the front that takes this one's update, -1 for none
    int firstChild, nextSibling;  ///< the children in the fixed order in which their updates are added, -1 ends
    std::int64_t rows;            ///< where the rows below stand in `FrontTree::rows` and `FrontTree::places`
    std::int64_t factor;          ///< where the columns of the factor stand
    std::int64_t update;          ///< where the update stands on its stack, or among the shared ones
    bool sharedUpdate;            ///< the update outlives the task that makes it
    int stack;                    ///< which of a worker's two stacks takes the update otherwise

    int order() const { return pivots + below; }
};

/// What the factorisation of a front costs, in multiplications.
double workOf(const Front& front);

/// The fronts of a pattern, how they are shared out to workers, and where their numbers stand.
struct FrontTree {
    explicit FrontTree(const SparseRows& matrix);

    EliminationPattern pattern;

    SolverArray<Front> fronts;  ///< children before their parents
    SolverArray<int> rows;      ///< the rows below the pivots of each front, ascending
    SolverArray<int> places;    ///< where these stand among the rows of the parent
    std::int64_t factorSize = 0;
    int largestOrder = 0;
    double work = 0;  ///< of the whole factorisation, in multiplications

    /// Fronts [begin, end), whole subtrees, that one worker takes at a time. The cut depends on the pattern alone.
    struct Task {
        int begin, end;
    };
    SolverArray<Task> tasks;
    std::int64_t stackSize[2] = {0, 0};  ///< floats that a worker's two stacks need for any of the tasks
    int largestTaskOrder = 0;            ///< of the fronts of the tasks

    SolverArray<int> top;            ///< the fronts above all tasks, level by level, children one level before parents
    SolverArray<int> levels;         ///< where each level begins in `top`, and the end
    std::int64_t sharedUpdates = 0;  ///< floats of the updates that outlive their task

    /// Levels [begin, end) of the top. Either one, of which all workers share each front, or several that one worker
    /// takes, because they are too little work to be shared.
    struct Stage {
        int begin, end;
        bool shared;
    };
    SolverArray<Stage> stages;

private:
    /// Where a section's fronts, rows and entries of the factor begin among all.
    struct SectionPlace {
        int front;
        std::int64_t row, factor;
    };

    void takeFronts(SolverArray<SectionRuns> runs);
    void placeFronts(const SectionRuns& runs, SectionPlace begin);
    void linkToParents();
    void findPlaces(const Front& front);
    void linkToChildren();

    SolverArray<double> findWork();
    void findTasks();
    void sortByLevel(const SolverArray<int>& topFronts);
    void findStages();
    void placeTaskUpdates();
    void placeTopUpdates();
};

}  // namespace kestrova::solver
