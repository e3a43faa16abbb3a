#pragma once

#include <atomic>

#include "call.h"

namespace kestrova::python {

/// An object serves one thread at a time, and work runs without the interpreter's lock: a second call on an object that
/// is at work, from another thread or from a callback, is refused with kestrova.Error.
class InUse {
public:
    using Flag = std::atomic<bool>;

    InUse(Flag& flag, const char* name) : m_flag(flag) {
        if (m_flag.exchange(true)) raiseError(std::string(name) + ": in use by another call", "programming");
    }
    ~InUse() { m_flag.store(false); }
    InUse(const InUse&) = delete;
    InUse& operator=(const InUse&) = delete;

private:
    Flag& m_flag;
};

}  // namespace kestrova::python
