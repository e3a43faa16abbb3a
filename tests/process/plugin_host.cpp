// A host of plug-ins that has no OpenMP of its own: loads the plug-in, lets it work, unloads it, and begins again.
// Usage: plugin_host PLUGIN
#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>

int main(int, char** argv) {
    for (int round = 0; round < 3; ++round) {
        void* plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
        void* work = plugin ? dlsym(plugin, "workOfPlugin") : nullptr;
        if (!work) {
            std::fprintf(stderr, "%s\n", dlerror());
            return 2;
        }
        if (reinterpret_cast<int (*)()>(work)() != 1000) return 1;
        if (dlclose(plugin) != 0) return 3;
        if (dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD)) return 4;
        usleep(20'000);  // workers wake up after the plug-in is gone
    }
    return 0;
}
