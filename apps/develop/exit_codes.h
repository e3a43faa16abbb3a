#pragma once

#include "photo/error.h"

namespace kestrova::develop {

/// How the program ends; the man page says the same.
enum ExitCode {
    kDone = 0,
    kInput = 2,       ///< usage, settings, or an input that is no photograph
    kFile = 3,        ///< the file system refused
    kMemory = 4,      ///< no memory, or more than the limit
    kTryAgain = 75,   ///< asked to end from outside (SIGTERM, SIGHUP) before all was done
    kCancelled = 130  ///< Ctrl-C
};

inline ExitCode exitCodeOf(photo::Error::Kind kind) {
    using Kind = photo::Error::Kind;
    switch (kind) {
        case Kind::file: return kFile;
        case Kind::memory: return kMemory;
        case Kind::cancelled: return kCancelled;
        default: return kInput;
    }
}

}  // namespace kestrova::develop
