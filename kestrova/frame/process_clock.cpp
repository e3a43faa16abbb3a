#include "kestrova/frame/process_clock.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>

namespace kestrova::frame {

namespace {

using Clock = std::chrono::steady_clock;

// The age of the process as the system accounts it: the time since boot less the start time, which is the 22nd field
// of the process's status line and the 20th after the name in parentheses. 0 where the system does not tell.
double ageOfProcess() {
    std::ifstream status("/proc/self/stat");
    std::string line;
    std::getline(status, line);
    std::size_t at = line.rfind(')');
    for (int field = 0; field < 20 && at != std::string::npos; ++field) at = line.find(' ', at + 1);
    timespec sinceBoot;
    if (at == std::string::npos || clock_gettime(CLOCK_BOOTTIME, &sinceBoot) != 0) return 0;
    const double started = std::strtod(line.c_str() + at, nullptr) / static_cast<double>(sysconf(_SC_CLK_TCK));
    const double now = static_cast<double>(sinceBoot.tv_sec) + 1e-9 * static_cast<double>(sinceBoot.tv_nsec);
    return std::max(0.0, now - started);
}

}  // namespace

double secondsSinceStart() {
    static const double ageAtFirstCall = ageOfProcess();
    static const Clock::time_point firstCall = Clock::now();
    return ageAtFirstCall + std::chrono::duration<double>(Clock::now() - firstCall).count();
}

}  // namespace kestrova::frame
