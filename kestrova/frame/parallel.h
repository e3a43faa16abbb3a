#pragma once

#include <omp.h>

#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <utility>
#include <vector>

// The one place that opens parallel regions: strips of rows, or tasks of unequal cost, handed to the host's OpenMP
// team. Work too small to pay for waking a team, and work inside a parallel region of the host, runs on the calling
// thread. No throw may leave a parallel region: the work is `noexcept`, and scratch is made before the region begins.
//
// Where the system refuses a thread to the OpenMP runtime, libgomp prints a message and ends the process: no library
// can catch that. A team therefore never has more threads than strips or tasks, nor than `omp_get_max_threads()`, and
// teams are kept by the runtime: a host that wants the threads made at a moment of its choice makes one parallel call
// then, and one that knows of a limit below the number of processors calls `omp_set_num_threads`. Internal.

namespace kestrova::frame {

/// Below this many elements one thread is faster than waking a team (some 5 to 10 microseconds).
constexpr std::size_t kForkElements = 1 << 15;

/// Contiguous strips of `rows` rows, one a thread. Strips begin at multiples of `blockRows`.
class Strips {
public:
    /// `cols` is about the work of a row, in elements.
    Strips(int rows, int cols, int blockRows = 1)
        : m_rows(rows), m_blockRows(blockRows), m_blocks(rows < 1 ? 0 : (rows - 1) / blockRows + 1) {
        const std::size_t elements = static_cast<std::size_t>(std::max(rows, 0)) * static_cast<std::size_t>(cols);
        const bool forks = m_blocks > 1 && elements >= kForkElements && !omp_in_parallel();
        m_count = forks ? std::min(m_blocks, omp_get_max_threads()) : 1;
    }

    int count() const { return m_count; }
    int first(int strip) const {
        const long long block = static_cast<long long>(m_blocks) * strip / m_count;
        return static_cast<int>(std::min<long long>(block * m_blockRows, m_rows));
    }
    int end(int strip) const { return first(strip + 1); }

private:
    int m_rows, m_blockRows, m_blocks, m_count;
};

/// Calls `work(first, end)` for the rows of each strip. The results of `work` must not depend on where a strip begins.
template <class Work>
void forEachStrip(const Strips& strips, const Work& work) {
    static_assert(noexcept(work(0, 0)), "no throw may cross the boundary of a parallel region");
    if (strips.count() == 1) return work(strips.first(0), strips.end(0));
#pragma omp parallel for schedule(static) num_threads(strips.count())
    for (int s = 0; s < strips.count(); ++s) work(strips.first(s), strips.end(s));
}

/// Calls `work(first, end, scratch)` likewise, with an element of `scratch` for each strip: takes no memory.
template <class Scratch, class Work>
void forEachStripWith(const Strips& strips, std::vector<Scratch>& scratch, const Work& work) {
    static_assert(noexcept(work(0, 0, scratch[0])), "no throw may cross the boundary of a parallel region");
    if (strips.count() == 1) return work(strips.first(0), strips.end(0), scratch[0]);
#pragma omp parallel for schedule(static) num_threads(strips.count())
    for (int s = 0; s < strips.count(); ++s) work(strips.first(s), strips.end(s), scratch[static_cast<std::size_t>(s)]);
}

/// Calls `work(first, end, scratch)` likewise, `scratch` being what `makeScratch(strip)` has made for the strip, on the
/// calling thread, before the first call of `work`.
template <class MakeScratch, class Work>
void forEachStrip(const Strips& strips, const MakeScratch& makeScratch, const Work& work) {
    if (strips.count() == 1) {
        auto scratch = makeScratch(0);
        static_assert(noexcept(work(0, 0, scratch)), "no throw may cross the boundary of a parallel region");
        return work(strips.first(0), strips.end(0), scratch);
    }
    std::vector<std::decay_t<decltype(makeScratch(0))>> scratch;
    scratch.reserve(static_cast<std::size_t>(strips.count()));
    for (int s = 0; s < strips.count(); ++s) scratch.push_back(makeScratch(s));
    forEachStripWith(strips, scratch, work);
}

/// Calls `row(r)` for each r in [0, rows), a row costing about `cols` elements of work.
template <class Row>
void parallelRows(int rows, int cols, const Row& row) {
    static_assert(noexcept(row(0)), "no throw may cross the boundary of a parallel region");
    forEachStrip(Strips(rows, cols), [&](int first, int end) noexcept {
        for (int r = first; r < end; ++r) row(r);
    });
}

/// How many workers `parallelTasks` gives to `tasks` tasks; scratch is allocated one a worker.
inline int workerCount(int tasks) {
    const int threads = omp_in_parallel() ? 1 : omp_get_max_threads();
    return threads < tasks ? threads : tasks;
}

/// Calls `task(i, worker)` for each i in [0, tasks), handed out one at a time: for tasks of unequal cost. The results
/// of a task must not depend on the worker.
template <class Task>
void parallelTasks(int workers, int tasks, const Task& task) {
    static_assert(noexcept(task(0, 0)), "no throw may cross the boundary of a parallel region");
    if (workers <= 1) {
        for (int i = 0; i < tasks; ++i) task(i, 0);
        return;
    }
#pragma omp parallel for schedule(dynamic, 1) num_threads(workers)
    for (int i = 0; i < tasks; ++i) task(i, omp_get_thread_num());
}

// The two below go as their callers take `forEachStrip`.
inline int stripCount(int rows, int cols) { return Strips(rows, cols).count(); }
template <class Work>
void parallelStrips(int strips, int rows, const Work& work) {
    static_assert(noexcept(work(0, 0, 0)), "no throw may cross the boundary of a parallel region");
    if (strips == 1) return work(0, rows, 0);
#pragma omp parallel for schedule(static) num_threads(strips)
    for (int s = 0; s < strips; ++s) {
        const long long total = rows;
        work(static_cast<int>(total * s / strips), static_cast<int>(total * (s + 1) / strips), s);
    }
}

}  // namespace kestrova::frame
