#pragma once

// All primitives, for the library's own code and tests. Internal.

#include "kestrova/frame/vendor_types.h"
#include "kestrova/primitives/arithmetic.h"
#include "kestrova/primitives/convert.h"
#include "kestrova/primitives/copy.h"
#include "kestrova/primitives/memory.h"
#include "kestrova/primitives/neighbourhood.h"
#include "kestrova/primitives/resize.h"
#include "kestrova/primitives/small_matrix.h"
#include "kestrova/primitives/sparse_solver.h"
#include "kestrova/primitives/tables.h"
#include "kestrova/primitives/vector_math.h"
