#pragma once

#include <new>

#include "kestrova/frame/vendor_types.h"

namespace kestrova::primitives {

/// Calls `work`, which writes nothing before it has all memory: the status is -9 where there is none. Internal.
template <class Work>
IppStatus orNoMemory(const Work& work) {
    try {
        work();
        return ippStsNoErr;
    } catch (const std::bad_alloc&) {
        return ippStsNoMemErr;
    }
}

}  // namespace kestrova::primitives
