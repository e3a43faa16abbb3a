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

/// Restores the process's OpenMP settings at the end of its scope.
class KeepThreadSettings {
public:
    KeepThreadSettings() = default;
    KeepThreadSettings(const KeepThreadSettings&) = delete;
    ~KeepThreadSettings() {
        omp_set_num_threads(m_threads);
        omp_set_dynamic(m_dynamic);
        omp_set_max_active_levels(m_levels);
    }

private:
    const int m_threads = omp_get_max_threads();
    const int m_dynamic = omp_get_dynamic();
    const int m_levels = omp_get_max_active_levels();
};
