#include "kestrova/solver/sparse_fronts.h"

#include <algorithm>

#include "kestrova/frame/steps.h"

namespace kestrova::solver {

using namespace frame;

FrontTree::FrontTree(const SparseRows& matrix) : pattern(matrix) {
    const SolverArray<SectionRuns> runs = findRuns(pattern);
    SolverArray<SectionPlace> places;
    SectionPlace end{0, 0, 0};
    for (const SectionRuns& section : runs) {
        places.push_back(end);
        end.front += static_cast<int>(section.runs.size());
        end.row += static_cast<std::int64_t>(section.rows.size());
        for (const Run& run : section.runs) end.factor += run.entries();
    }
    places.push_back(end);
    factorSize = end.factor;
    fronts.resize(static_cast<std::size_t>(end.front));
    rows.resize(static_cast<std::size_t>(end.row));
    this->places.resize(rows.size());

    SolverArray<int> frontOf(static_cast<std::size_t>(pattern.n));
    const int sections = static_cast<int>(runs.size());
    Steps<2> steps;
    withTeam(workerCount(sections), [&](int) noexcept {
        Share share = steps.join({sections, sections}, [&](int step, int s) noexcept {
            const Range own{places[s].front, places[s + 1].front};
            if (step == 0) {
                placeFronts(runs[s], places[s]);
                for (int f = own.begin; f < own.end; ++f) {
                    std::fill_n(frontOf.begin() + fronts[f].first, fronts[f].pivots, f);
                }
            } else {
                linkToParents(own, frontOf);
            }
        });
        share.pieces = 0;  // they are of unequal cost
        return share;
    });
    linkToChildren();
    findTasks();
    findStages();
    placeTaskUpdates();
    placeTopUpdates();
}

void FrontTree::placeFronts(const SectionRuns& section, SectionPlace place) {
    std::copy(section.rows.begin(), section.rows.end(), rows.begin() + place.row);
    std::int64_t factor = place.factor;
    int f = place.front;
    for (const Run& run : section.runs) {
        fronts[f++] = {run.first, run.pivots(), run.below, -1, -1, -1, place.row + run.rows, factor, 0, false, 0};
        factor += run.entries();
    }
}

void FrontTree::linkToParents(Range ownFronts, const SolverArray<int>& frontOf) {
    for (int f = ownFronts.begin; f < ownFronts.end; ++f) {
        Front& front = fronts[f];
        if (front.below == 0) continue;
        front.parent = frontOf[rows[front.rows]];
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
