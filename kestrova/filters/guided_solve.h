#pragma once

#include <cstddef>

namespace kestrova::filters {

/// From means of the moments of one plane of guide or three, in the order of `rows::BoxMoments`, the coefficients of
/// the fit: slopes, then b. Internal.
void solveCoefficients(std::size_t guides, const float* const* means, float eps, float* const* coefficients,
                       std::ptrdiff_t n) noexcept;

}  // namespace kestrova::filters
