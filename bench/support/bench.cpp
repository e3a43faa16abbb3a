#include "bench/support/bench.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include "kestrova/frame/kestrova.h"
#include "kestrova/frame/parallel.h"

double bench_detail::copySeconds(std::size_t bytesMoved) {
    constexpr int kRows = 256;
    const std::size_t row = std::max<std::size_t>(bytesMoved / 2 / kRows, 1);
    std::vector<char> from(row * kRows, 1), to(row * kRows, 2);
    double best = 1e9;
    for (int run = 0; run < 5; ++run) {
        const double start = omp_get_wtime();
        kestrova::frame::parallelRows(kRows, static_cast<int>(row),
                                      [&](int r) noexcept { std::memcpy(&to[r * row], &from[r * row], row); });
        best = std::min(best, omp_get_wtime() - start);
        benchmark::DoNotOptimize(to.data());
    }
    return best;
}

static double statusBytes(const char* field) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        double kilobytes = 0;
        if (word == field && status >> kilobytes) return kilobytes * 1024;
    }
    return 0;
}

double peakBytes(const std::function<void()>& work) {
#ifdef __GLIBC__
    malloc_trim(0);  // what earlier work let go of is not held
#endif
    std::ofstream("/proc/self/clear_refs") << 5;  // the peak begins anew
    const double before = statusBytes("VmRSS:");
    work();
    return statusBytes("VmHWM:") - before;
}

std::vector<BusyRow>& bench_detail::rows() {
    static std::vector<BusyRow> rows;
    return rows;
}

// --beside_busy_processes=REGEX measures rows in that way instead.
int main(int argc, char** argv) {
    Kestrova::setPrinting(false);
    const std::string busy = "--beside_busy_processes=";
    if (argc == 2 && std::string(argv[1]).compare(0, busy.size(), busy) == 0)
        return measureBesideBusyProcesses(bench_detail::rows(), argv[1] + busy.size()) > 0;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
