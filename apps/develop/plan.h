#pragma once

#include <string>
#include <vector>

#include "develop/options.h"

namespace kestrova::develop {

/// One photograph and where it goes.
struct Task {
    std::string input;
    std::string output;
    std::string trouble{};  ///< why a folder, which then is the input, cannot be read; empty for photographs
};

/// All photographs that the command line names, folders searched, in a settled order, with distinct targets, of this
/// shard. A folder that cannot be read is a task that fails; where several shards share the tasks it is an error, since
/// each must find the same ones. Throws `photo::Error` before anything is written: for a list that cannot be read,
/// targets that are inputs, that are there already or that cannot be written.
std::vector<Task> planTasks(const Options& options);

}  // namespace kestrova::develop
