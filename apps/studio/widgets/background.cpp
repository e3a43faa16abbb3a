#include "studio/widgets/background.h"

#ifdef __linux__
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace kestrova::studio {

void standBack([[maybe_unused]] Background place) {
#ifdef __linux__
    // On Linux niceness is a thread's. That of the process's id is the one of the window's thread.
    setpriority(PRIO_PROCESS, 0, getpriority(PRIO_PROCESS, static_cast<id_t>(getpid())) + static_cast<int>(place));
#endif
}

}  // namespace kestrova::studio
