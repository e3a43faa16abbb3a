#pragma once

#include "in_use.h"

namespace kestrova::python {

struct Picture {
    TPImage image;
    InUse::Flag inUse{false};
};

}  // namespace kestrova::python
