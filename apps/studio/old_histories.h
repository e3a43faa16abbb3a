#pragma once

#include <QMutex>
#include <cstdint>
#include <string>

namespace kestrova::studio {

/// What the histories of photographs may take, some thousands of them.
constexpr std::uintmax_t kMostBytesOfHistories = std::uintmax_t{512} << 20;

/// Removes journals below `folder` while they take more, those first that were written longest ago. Spares `open`, that
/// of the photograph that is open, and those whose settings are in no sidecar. `mutex` is locked while one is removed.
void removeOldHistories(const std::string& folder, const std::string& open, std::uintmax_t mostBytes, QMutex& mutex);

}  // namespace kestrova::studio
