#pragma once

namespace kestrova::photo {

/// The zero of 16-bit planes that hold signed values: chroma and details.
constexpr int kZero = 32768;

}  // namespace kestrova::photo
