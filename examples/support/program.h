#pragma once

#include <functional>

/// Runs `run` and turns its outcome into the exit code of the program: 0 if it returns; 130 if the user has cancelled;
/// 2, with a one-line reason on standard error after the program's `name`, for a Refusal and for whatever the library
/// throws.
int runProgram(const char* name, const std::function<void()>& run);
