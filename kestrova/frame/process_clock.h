#pragma once

namespace kestrova::frame {

/// Wall-clock seconds since the process began, not since the library was loaded.
double secondsSinceStart();

}  // namespace kestrova::frame
