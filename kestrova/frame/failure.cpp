#include "kestrova/frame/failure.h"

#include <cstdio>

#include "kestrova/frame/kestrova.h"

namespace kestrova::frame {

void fail(const char* text) { throw const_cast<char*>(text); }

void failTraced(const char* where, int line, const char* message) {
    thread_local char text[256];
    std::snprintf(text, sizeof text, "%s", Kestrova::traceMsg(where, line, message).c_str());
    throw static_cast<const char*>(text);
}

}  // namespace kestrova::frame
