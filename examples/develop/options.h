#pragma once

#include <string>

#include "development.h"

/// What the command line asks for.
struct Options {
    enum class Task { develop, help, version };

    Task task = Task::develop;
    std::string in;
    std::string out;
    Settings settings;
    int compare = 0;  ///< width of either picture if both are wanted, side by side
    int quality = 92;
    bool quiet = false;
};

/// Reads the command line; throws Refusal.
Options readOptions(int argc, const char* const* argv);

/// The text of --help.
extern const char* const kHelp;
