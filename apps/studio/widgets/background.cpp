#include "studio/widgets/background.h"

#ifdef __linux__
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace kestrova::studio {

void standBack([[maybe_unused]] Background place) {
#ifdef __linux__
    // On Linux each thread has a niceness of its own; the process's id is also the id of the window's thread.
    setpriority(PRIO_PROCESS, 0, getpriority(PRIO_PROCESS, static_cast<id_t>(getpid())) + static_cast<int>(place));
#endif
}

}  // namespace kestrova::studio
