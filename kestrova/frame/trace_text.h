#pragma once

#include <string>

/// "SSSSS.mmm - line - where : msg - ": the text of `Kestrova::traceMsg` at `seconds` since the process began. From
/// 100000 seconds on the first field widens. Before 0 it has a sign within its width. A null text counts as an empty
/// one. Internal.
std::string traceText(double seconds, const char* where, int line, const char* msg);
