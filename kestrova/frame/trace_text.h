#pragma once

#include <string>

/// "SSSSS.mmm - line - where : msg - ": the text of `Kestrova::traceMsg` at `seconds` since the process began. From
/// 100000 seconds on the first field widens. A null text counts as an empty one.
std::string traceText(double seconds, const char* where, int line, const char* msg);
