#include "bench/support/busy.h"

#include <omp.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <opencv2/core/utility.hpp>
#include <regex>

BusyProcesses::BusyProcesses() {
    cpu_set_t allowed;
    sched_getaffinity(0, sizeof allowed, &allowed);
    for (int processor = 0; processor < CPU_SETSIZE; ++processor) {
        if (!CPU_ISSET(processor, &allowed)) continue;
        const pid_t process = fork();
        if (process == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            cpu_set_t own;
            CPU_ZERO(&own);
            CPU_SET(processor, &own);
            sched_setaffinity(0, sizeof own, &own);
            for (volatile unsigned n = 0;;) n = n + 1;
        }
        if (process > 0) m_processes.push_back(process);
    }
}

BusyProcesses::~BusyProcesses() {
    for (const pid_t process : m_processes) {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
}

namespace {

constexpr double kNoise = 1.1;

// Several time slices: a single run may fit into what is left of one, and profits from the waits of the runs before.
constexpr double kSample = 0.05;
constexpr double kSeconds = 2;
constexpr int kFewestPairs = 7;

// What seems slower is measured again: only what is slower each time is.
constexpr int kRepetitions = 2;

// A run of `work`, on average over a sample.
double secondsOf(const std::function<void()>& work, int threads) {
    omp_set_num_threads(threads);
    cv::setNumThreads(threads);
    const double start = omp_get_wtime();
    double seconds = 0;
    int runs = 0;
    for (; seconds < kSample; ++runs) {
        work();
        seconds = omp_get_wtime() - start;
    }
    return seconds / runs;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

struct Medians {
    double one, all;

    bool bSlower() const { return all > kNoise * one; }
};

// Of samples taken in turn, with 1 thread and with `threads`.
Medians mediansOf(const std::function<void()>& work, int threads) {
    std::vector<double> one, all;
    const double start = omp_get_wtime();
    while (omp_get_wtime() - start < kSeconds || one.size() < kFewestPairs) {
        one.push_back(secondsOf(work, 1));
        all.push_back(secondsOf(work, threads));
    }
    return {median(one), median(all)};
}

}  // namespace

int measureBesideBusyProcesses(const std::vector<BusyRow>& rows, const std::string& filter) {
    const std::regex wanted(filter.empty() || filter == "all" ? ".*" : filter);
    const int all = omp_get_num_procs();
    int slower = 0;
    std::printf("%-64s %12s %12s %8s\n", "beside a busy process on every core", "1 thread, ms", "all, ms", "all / 1");
    for (const BusyRow& row : rows) {
        if (!std::regex_search(row.name, wanted)) continue;
        const std::function<void()> work = row.prepare();
        secondsOf(work, 1);
        const BusyProcesses busy;
        Medians medians = mediansOf(work, all);
        for (int again = 0; again < kRepetitions && medians.bSlower(); ++again) medians = mediansOf(work, all);
        slower += medians.bSlower();
        std::printf("%-64s %12.3f %12.3f %8.2f%s\n", row.name.c_str(), 1e3 * medians.one, 1e3 * medians.all,
                    medians.all / medians.one, medians.bSlower() ? " slower" : "");
        std::fflush(stdout);
    }
    return slower;
}
