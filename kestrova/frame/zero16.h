#pragma once

namespace kestrova::frame {

/// The zero of 16-bit planes that hold signed values: chroma, details, residuals. Internal.
constexpr int kZero16 = 32768;

}  // namespace kestrova::frame
