#pragma once

#include <omp.h>

/// Runs `work` with each of several numbers of OpenMP threads, and restores the number.
template <class Work>
void withThreadCounts(const Work& work) {
    const int before = omp_get_max_threads();
    for (int threads : {1, 2, 3, 4, 8}) {
        omp_set_num_threads(threads);
        work(threads);
    }
    omp_set_num_threads(before);
}
