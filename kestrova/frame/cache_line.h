#pragma once

#include <cstddef>

namespace kestrova::frame {

/// The bytes of a cache line of the processors that this is made for. Internal.
constexpr std::size_t kCacheLine = 64;

}  // namespace kestrova::frame
