#pragma once

namespace kestrova::frame {

/// From the full range of 8 bits to 0..1. Internal.
constexpr float kPer255 = 0x1.010102p-8f;
/// From the full range of 16 bits to 0..1. Internal.
constexpr float kPer65535 = 0x1.0001p-16f;

}  // namespace kestrova::frame
