#pragma once

#include <stdexcept>

/// Why the program does not do what it was asked to: one line for the user.
struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The user has asked to stop.
struct Cancelled {};

/// What the library's long operations answer: false means that the user has asked to stop.
inline void proceed(bool goOn) {
    if (!goOn) throw Cancelled{};
}
