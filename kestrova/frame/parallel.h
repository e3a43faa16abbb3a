#pragma once

#include <omp.h>

#include <cstddef>

/// The one place that opens parallel regions: a static split of rows among the host's OpenMP team. Work too small to
/// pay for waking a team, and work inside a parallel region of the host, runs on the calling thread.

/// Below this many elements one thread is faster than waking a team (some 5 to 10 microseconds).
constexpr std::size_t kForkElements = 1 << 15;

/// How many strips `parallelStrips` splits `rows` rows of `cols` elements into; scratch is allocated one a strip.
inline int stripCount(int rows, int cols) {
    if (rows < 2 || omp_in_parallel()) return 1;
    if (static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols) < kForkElements) return 1;
    const int threads = omp_get_max_threads();
    return threads < rows ? threads : rows;
}

/// Calls `work(firstRow, endRow, strip)` for each of `strips` contiguous strips of [0, rows), one a thread. The results
/// of `work` must not depend on where a strip begins.
template <class Work>
void parallelStrips(int strips, int rows, const Work& work) {
    static_assert(noexcept(work(0, 0, 0)), "no throw may cross the boundary of a parallel region");
    if (strips == 1) {
        work(0, rows, 0);
        return;
    }
#pragma omp parallel for schedule(static) num_threads(strips)
    for (int s = 0; s < strips; ++s) {
        const long long total = rows;
        work(static_cast<int>(total * s / strips), static_cast<int>(total * (s + 1) / strips), s);
    }
}

/// Calls `row(r)` for each r in [0, rows), a row costing about `cols` elements of work.
template <class Row>
void parallelRows(int rows, int cols, const Row& row) {
    static_assert(noexcept(row(0)), "no throw may cross the boundary of a parallel region");
    parallelStrips(stripCount(rows, cols), rows, [&](int first, int end, int) noexcept {
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
