#include "kestrova/frame/trace_text.h"

#include <cmath>
#include <cstdio>

std::string traceText(double seconds, const char* where, int line, const char* msg) {
    // %09.3f in integers: a Qt host sets the user's locale, which may have a comma for the point.
    const long long milliseconds = std::llround(seconds * 1000);
    char head[64];
    std::snprintf(head, sizeof head, "%05lld.%03lld - %d - ", milliseconds / 1000, milliseconds % 1000, line);
    return std::string(head) + (where ? where : "") + " : " + (msg ? msg : "") + " - ";
}
