#pragma once

#include <string>

namespace kestrova::studio {

/// What the tests' program does as a process of its own: edits a photograph, says so in the folder by a file "ready",
/// and waits to be killed.
int editUntilKilled(const std::string& photograph, const std::string& dataFolder);

}  // namespace kestrova::studio
