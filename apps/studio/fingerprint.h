#pragma once

#include <string>

namespace kestrova::studio {

/// The size and a hash of the first and the last 64 KB: two photographs of a camera differ in them, while a copy that
/// is restored from a backup, or has got another time of modification, is the same. Empty for what cannot be read.
std::string fingerprintOf(const std::string& photograph);

}  // namespace kestrova::studio
