#pragma once

#include <string>

#include "develop/options.h"

namespace kestrova::develop {

/// Stands for all that a result depends on: the photograph's bytes, the settings, how it is written, the version.
/// Throws `photo::Error`.
std::string keyOf(const std::string& input, const photo::Settings& settings, photo::FileFormat format,
                  const Options& options);

}  // namespace kestrova::develop
