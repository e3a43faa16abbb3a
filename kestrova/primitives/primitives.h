#pragma once

/// All primitives, for the library's own code and tests. Internal: not installed, not exported.

#include "kestrova/primitives/resize.h"
#include "kestrova/primitives/types.h"
