#include "kestrova/frame/trace_text.h"

#include <cstdio>

std::string traceText(double seconds, const char* where, int line, const char* msg) {
    char head[64];
    std::snprintf(head, sizeof head, "%09.3f - %d - ", seconds, line);
    return std::string(head) + (where ? where : "") + " : " + (msg ? msg : "") + " - ";
}
