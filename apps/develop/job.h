#pragma once

#include <string>
#include <vector>

#include "develop/exit_codes.h"
#include "develop/plan.h"
#include "photo/control.h"

namespace kestrova::develop {

/// How a photograph fared.
struct Outcome {
    enum class Kind { done, skipped, planned, failed, cancelled };

    Kind kind = Kind::done;
    ExitCode code = kDone;
    std::string error;               ///< of a failure
    std::vector<std::string> notes;  ///< what the result does not hold of the photograph
    double seconds = 0;
    std::uintmax_t bytes = 0;  ///< size of the result
};

/// Reads, develops and writes one photograph. Does not throw: failures are in the outcome.
Outcome doTask(const Task& task, const Options& options, photo::Control& control);

}  // namespace kestrova::develop
