// A small host against the installed library: every exported header, and one call into each room.
#include <kestrova/kestrova.h>

#include <cstdio>

int main() {
    TProgress progress;
    if (!progress.prog(1, 2)) return 1;
    if (!TSize(0, 1).isEmpty()) return 1;
    std::puts(Kestrova::traceMsg("consumer", 1, "ok").c_str());
    return 0;
}
