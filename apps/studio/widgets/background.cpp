#include "studio/widgets/background.h"

#ifdef __linux__
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#endif

namespace kestrova::studio {

#ifdef __linux__

namespace {

/// The first version of the system's sched_attr, for which the C library has no declaration.
struct Scheduling {
    std::uint32_t size = sizeof(Scheduling);
    std::uint32_t policy = 0;  // SCHED_OTHER
    std::uint64_t flags = 0;
    std::int32_t nice = 0;
    std::uint32_t priority = 0;
    std::uint64_t slice = 0;  // nanoseconds; 0 for the system's own, ignored before Linux 6.12
    std::uint64_t deadline = 0, period = 0;
};

// On Linux each thread has its own; the process's id is also the id of the window's thread.
int nicenessOfWindow() { return getpriority(PRIO_PROCESS, static_cast<id_t>(getpid())); }

}  // namespace

void answerFirst() {
    constexpr std::uint64_t kShortest = 100000;
    Scheduling scheduling;
    scheduling.nice = nicenessOfWindow();
    scheduling.slice = kShortest;
    syscall(SYS_sched_setattr, 0, &scheduling, 0);
}

void standBack(Background place) {
    Scheduling scheduling;
    scheduling.nice = nicenessOfWindow() + static_cast<int>(place);
    if (syscall(SYS_sched_setattr, 0, &scheduling, 0) != 0) setpriority(PRIO_PROCESS, 0, scheduling.nice);
}

#else

void answerFirst() {}
void standBack(Background) {}

#endif

}  // namespace kestrova::studio
