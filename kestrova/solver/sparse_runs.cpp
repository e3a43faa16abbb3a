#include "kestrova/solver/sparse_runs.h"

#include <algorithm>
#include <utility>

#include "kestrova/frame/parallel.h"

namespace kestrova::solver {

using namespace frame;

namespace {

constexpr int kNone = -1;

/// Joins a run with the child run before it where the larger front pays for the zeros that it stores: always where it
/// has so few pivots that a front of its own costs more.
bool joined(Run& run, const Run& child) {
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

/// Column by column: the structure of a column is that of the matrix together with that of its children in the
/// elimination tree. A column whose only child has the same structure joins that child's run.
class RunFinder {
public:
    explicit RunFinder(const EliminationPattern& pattern)
        : m_pattern(pattern),
          m_sections(pattern.sections.size()),
          m_firstRoot(pattern.sections.size(), kNone),
          m_firstChild(static_cast<std::size_t>(pattern.n)),
          m_nextChild(static_cast<std::size_t>(pattern.n)) {}

    SolverArray<SectionRuns> run() {
        findRunsOfParts();
        const int sections = static_cast<int>(m_sections.size());
        for (int s = 0; s < sections; ++s) {
            if (!section(s).part) clearChildren(s);
        }
        for (int s = 0; s < sections; ++s) {
            for (int id = m_firstRoot[s]; id != kNone;) {
                const int next = m_nextChild[id];
                addChild(m_sections[s].rows[runOf(s, id).rows], id);
                id = next;
            }
        }
        for (int s = 0; s < sections; ++s) {
            if (!section(s).part) findRunsOf(s, true);
        }
        return std::move(m_sections);
    }

private:
    /// A run's number is its section's first column plus its place among the section's runs.
    const Run& runOf(int s, int id) const { return m_sections[s].runs[id - section(s).columns.begin]; }
    const Section& section(int s) const { return m_pattern.sections[s]; }
    int sectionOf(int id) const {
        const auto behind = std::upper_bound(m_pattern.sections.begin(), m_pattern.sections.end(), id,
                                             [](int value, const Section& s) { return value < s.columns.begin; });
        return static_cast<int>(behind - m_pattern.sections.begin()) - 1;
    }

    void clearChildren(int s) {
        std::fill(m_firstChild.begin() + section(s).columns.begin, m_firstChild.begin() + section(s).columns.end,
                  kNone);
    }
    void addChild(int column, int id) { m_nextChild[id] = std::exchange(m_firstChild[column], id); }

    /// Their memory is taken here: where a guess was too small, once more with twice as much.
    void findRunsOfParts() {
        SolverArray<int> left;
        for (int s = 0; s < static_cast<int>(m_sections.size()); ++s) {
            if (section(s).part) left.push_back(s);
        }
        for (std::size_t factor = 1; !left.empty(); factor *= 2) {
            for (int s : left) {
                const auto columns = static_cast<std::size_t>(section(s).columns.end - section(s).columns.begin);
                m_sections[s].runs.reserve(std::min(columns, (columns / 3 + 1) * factor));
                m_sections[s].rows.reserve((columns * 4 + 64) * factor);
            }
            const int count = static_cast<int>(left.size());
            SolverArray<char> found(left.size());
            parallelTasks(workerCount(count), count,
                          [&](int k, int) noexcept { found[k] = findRunsOf(left[k], false); });
            std::size_t kept = 0;
            for (std::size_t k = 0; k < left.size(); ++k) {
                if (!found[k]) left[kept++] = left[k];
            }
            left.resize(kept);
        }
    }

    /// False where the memory does not suffice and must not grow.
    bool findRunsOf(int s, bool mayGrow) {
        SectionRuns& own = m_sections[s];
        own.runs.clear();
        own.rows.clear();
        if (!mayGrow) {
            clearChildren(s);
            m_firstRoot[s] = kNone;
        }
        Run run{0, kNone, 0, 0, 0};
        for (int j = section(s).columns.begin; j < section(s).columns.end; ++j) {
            if (run.last != kNone) {
                if (continues(own, run, j)) {
                    run.last = j;
                    ++run.rows;
                    --run.below;
                    continue;
                }
                if (!finish(s, run, mayGrow)) return false;
            }
            run = {j, j, static_cast<std::int64_t>(own.rows.size()), 0, 0};
            if (!gatherRows(s, run, mayGrow)) return false;
        }
        return run.last == kNone || finish(s, run, mayGrow);
    }

    /// Whether column j has the structure of the run before it and no other child.
    bool continues(const SectionRuns& own, const Run& run, int j) const {
        if (run.below == 0 || own.rows[run.rows] != j || m_firstChild[j] != kNone) return false;
        auto row = own.rows.begin() + run.rows;
        const auto end = row + run.below;
        return std::all_of(m_pattern.columnRows.begin() + m_pattern.columns[j],
                           m_pattern.columnRows.begin() + m_pattern.columns[j + 1], [&](int wanted) {
                               if (row != end && *row < wanted) ++row;  // the next one, in a dense column
                               if (row == end || *row != wanted) row = std::lower_bound(row, end, wanted);
                               return row != end && *row == wanted;
                           });
    }

    template <class T>
    static bool provideFor(SolverArray<T>& array, std::size_t size, bool mayGrow) {
        if (size <= array.capacity()) return true;
        if (mayGrow) array.reserve(std::max(size, 2 * array.capacity()));
        return mayGrow;
    }

    /// The rows of the run's first column.
    bool gatherRows(int s, Run& run, bool mayGrow) {
        SolverArray<int>& rows = m_sections[s].rows;
        const int j = run.first;
        const std::size_t begin = rows.size();
        const auto ownBegin = m_pattern.columnRows.begin() + m_pattern.columns[j],
                   ownEnd = m_pattern.columnRows.begin() + m_pattern.columns[j + 1];
        if (!provideFor(rows, begin + static_cast<std::size_t>(ownEnd - ownBegin), mayGrow)) return false;
        rows.insert(rows.end(), ownBegin, ownEnd);
        rows.erase(std::unique(rows.begin() + begin, rows.end()), rows.end());
        for (int id = m_firstChild[j]; id != kNone; id = m_nextChild[id]) {
            const int childSection = section(s).part ? s : sectionOf(id);
            const Run& child = runOf(childSection, id);
            const std::size_t end = rows.size(), most = 2 * end - begin + static_cast<std::size_t>(child.below);
            if (!provideFor(rows, most, mayGrow)) return false;
            rows.resize(most);
            const int* childRows = m_sections[childSection].rows.data() + child.rows;
            int* const own = rows.data();
            const int* both = std::set_union(own + begin, own + end, childRows + 1, childRows + child.below, own + end);
            rows.resize(begin + static_cast<std::size_t>(std::copy(own + end, const_cast<int*>(both), own + begin) -
                                                         (own + begin)));
        }
        run.below = static_cast<int>(rows.size() - begin);
        return true;
    }

    /// Joins a run with those before it, and adds it to the runs and to the children of the next.
    bool finish(int s, Run& run, bool mayGrow) {
        SectionRuns& own = m_sections[s];
        for (int t = s; t >= (section(s).part ? s : 0); --t) {
            SectionRuns& before = m_sections[t];
            while (!before.runs.empty()) {
                const Run& last = before.runs.back();
                const bool child =
                    last.below > 0 && before.rows[last.rows] >= run.first && before.rows[last.rows] <= run.last;
                if (!child || !joined(run, last)) break;
                if (t != s) before.rows.resize(last.rows);
                before.runs.pop_back();
            }
            if (!before.runs.empty()) break;
        }
        const std::int64_t place = own.runs.empty() ? 0 : own.runs.back().rows + own.runs.back().below;
        std::copy_n(own.rows.begin() + run.rows, run.below, own.rows.begin() + place);
        own.rows.resize(static_cast<std::size_t>(place) + run.below);
        run.rows = place;
        if (!provideFor(own.runs, own.runs.size() + 1, mayGrow)) return false;
        const int id = section(s).columns.begin + static_cast<int>(own.runs.size());
        own.runs.push_back(run);
        if (run.below == 0) return true;
        const int parent = own.rows[place];
        if (section(s).part && parent >= section(s).columns.end) {
            m_nextChild[id] = std::exchange(m_firstRoot[s], id);
        } else {
            addChild(parent, id);
        }
        return true;
    }

    const EliminationPattern& m_pattern;
    SolverArray<SectionRuns> m_sections;
    SolverArray<int> m_firstRoot;                ///< of each part the runs whose parent is behind it
    SolverArray<int> m_firstChild, m_nextChild;  ///< of each column the runs whose first row below is this one
};

}  // namespace

SolverArray<SectionRuns> findRuns(const EliminationPattern& pattern) { return RunFinder(pattern).run(); }

}  // namespace kestrova::solver
