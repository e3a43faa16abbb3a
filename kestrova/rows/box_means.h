#pragma once

#include <algorithm>

namespace kestrova::rows {

/// How `ippiFilterBox_32f_C1R` sums, for filters that take box means of planes which they never store.

/// Column sums begin anew, from the top of the window down, at the first of every so many rows of the region. Between,
/// the row that enters the window less the row that leaves it is added, unless a value that is not finite leaves: then
/// all sums begin anew too.
inline int boxBlockRows(int maskHeight) { return maskHeight == 1 ? 1 : std::max(2 * maskHeight, 64); }

/// means[x] = mean of the `maskWidth` by `maskHeight` window whose columns have the sums columns[x],
/// columns[x + 1], ...; x < n. `scratch` and `otherScratch` hold n + `maskWidth` sums each.
void boxMeansAcross(const double* columns, int maskWidth, int maskHeight, double* scratch, double* otherScratch,
                    float* means, int n) noexcept;

}  // namespace kestrova::rows
