#pragma once

namespace kestrova::photo {

/// Calls `row(r)` for each of `rows` rows, shared among at most `threads` threads whatever OpenMP's process-wide number
/// is. `row` must not throw.
template <class Row>
void shareRows(int rows, int threads, const Row& row) {
    if (threads < 2) {
        for (int r = 0; r < rows; ++r) row(r);
        return;
    }
#pragma omp parallel for num_threads(threads) schedule(static)
    for (int r = 0; r < rows; ++r) row(r);
}

}  // namespace kestrova::photo
