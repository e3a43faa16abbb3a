#include "kestrova/solver/sparse_fronts.h"

#include <algorithm>

#include "kestrova/frame/steps.h"

namespace kestrova::solver {

using namespace frame;

FrontTree::FrontTree(const SparseRows& matrix) : pattern(matrix) {
    takeFronts(findRuns(pattern));
    linkToParents();
    linkToChildren();
    findTasks();
    findStages();
    placeTaskUpdates();
    placeTopUpdates();
}

/// Section by section. The runs are freed before more memory is taken.
void FrontTree::takeFronts(SolverArray<SectionRuns> runs) {
    SolverArray<SectionPlace> begins;
    SectionPlace end{0, 0, 0};
    for (const SectionRuns& section : runs) {
        begins.push_back(end);
        end.front += static_cast<int>(section.runs.size());
        end.row += static_cast<std::int64_t>(section.rows.size());
        for (const Run& run : section.runs) end.factor += run.entries();
    }
    fronts.resize(static_cast<std::size_t>(end.front));
    rows.resize(static_cast<std::size_t>(end.row));
    factorSize = end.factor;
    const int sections = static_cast<int>(runs.size());
    parallelTasks(workerCount(sections), sections, [&](int s, int) noexcept { placeFronts(runs[s], begins[s]); });
}

void FrontTree::placeFronts(const SectionRuns& section, SectionPlace begin) {
    std::copy(section.rows.begin(), section.rows.end(), rows.begin() + begin.row);
    std::int64_t factor = begin.factor;
    int f = begin.front;
    for (const Run& run : section.runs) {
        fronts[f++] = {run.first, run.pivots(), run.below, -1, -1, -1, begin.row + run.rows, factor, 0, false, 0};
        factor += run.entries();
    }
}

void FrontTree::linkToParents() {
    places.resize(rows.size());
    SolverArray<int> frontOf(static_cast<std::size_t>(pattern.n));
    constexpr int kFrontWork = 64;
    const Strips strips(static_cast<int>(fronts.size()), kFrontWork);
    Steps<2> steps;
    withTeam(strips.workers(), [&](int) noexcept {
        return steps.join({strips.count(), strips.count()}, [&](int step, int s) noexcept {
            for (int f = strips.first(s); f < strips.end(s); ++f) {
                if (step == 0) {
                    std::fill_n(frontOf.begin() + fronts[f].first, fronts[f].pivots, f);
                } else if (fronts[f].below > 0) {
                    fronts[f].parent = frontOf[rows[fronts[f].rows]];
                    findPlaces(fronts[f]);
                }
            }
        });
    });
}

/// Where the rows below stand among the rows of the parent.
void FrontTree::findPlaces(const Front& front) {
    const Front& parent = fronts[front.parent];
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

void FrontTree::linkToChildren() {
    for (int f = static_cast<int>(fronts.size()); f-- > 0;) {
        Front& front = fronts[f];
        largestOrder = std::max(largestOrder, front.order());
        if (front.parent < 0) continue;
        front.nextSibling = fronts[front.parent].firstChild;
        fronts[front.parent].firstChild = f;
    }
}

}  // namespace kestrova::solver
