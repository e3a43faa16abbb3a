#pragma once

#include <nlohmann/json_fwd.hpp>

#include "studio/state.h"

namespace kestrova::studio {

/// What makes `after` of `before`, as JSON (RFC 6902). Takes time for what differs: strokes that both share are not
/// converted.
nlohmann::json patchBetween(const State& before, const State& after);
/// Throws exceptions of nlohmann and `photo::Error` for a patch that does not fit.
State patched(const State& before, nlohmann::json patch);

}  // namespace kestrova::studio
