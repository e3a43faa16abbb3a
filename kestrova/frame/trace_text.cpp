#include "kestrova/frame/trace_text.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

std::string traceText(double seconds, const char* where, int line, const char* msg) {
    // %09.3f in integers: a Qt host sets the user's locale, which may have a comma for the point.
    const long long milliseconds = std::llround(seconds * 1000);
    const long long size = std::llabs(milliseconds);
    const int width = milliseconds < 0 ? 4 : 5;
    char head[64];
    std::snprintf(head, sizeof head, "%s%0*lld.%03lld - %d - ", milliseconds < 0 ? "-" : "", width, size / 1000,
                  size % 1000, line);
    return std::string(head) + (where ? where : "") + " : " + (msg ? msg : "") + " - ";
}
