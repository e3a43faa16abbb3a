#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "develop/interruption.h"
#include "develop/job.h"
#include "develop/options.h"
#include "develop/report.h"
#include "photo/error.h"

namespace kestrova::develop {
namespace {

int runAll(const std::vector<Task>& tasks, const Options& options, Interruption& interruption) {
    Report report(options, tasks.size());
    std::atomic<std::size_t> next{0};
    const auto work = [&](int slot) {
        for (std::size_t i = next++; i < tasks.size() && !interruption.code(); i = next++) {
            photo::Control control;
            control.progress = [&](double share) { report.progress(slot, share); };
            const Interruption::Guarded guarded(interruption, control);
            report.add(tasks[i], doTask(tasks[i], options, control), slot);
        }
    };
    std::vector<std::thread> workers;
    try {
        for (int slot = 1; slot < options.jobs && slot < static_cast<int>(tasks.size()); ++slot)
            workers.emplace_back(work, slot);
    } catch (const std::system_error&) {  // the system gives no more threads: those that are there do all
    }
    work(0);
    for (std::thread& worker : workers) worker.join();
    return report.finish(interruption.code());
}

/// A file that is opened must not get the number of a stream that the caller has closed: reports would go into it.
void occupyClosedStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (::fcntl(stream, F_GETFD) == -1) ::open("/dev/null", O_RDWR);
}

int run(int argc, char** argv) {
    occupyClosedStreams();
    Interruption interruption;
    int code = kDone;
    const auto options = readOptions(argc, argv, code);
    if (!options) return code;
    const std::vector<Task> tasks = planTasks(*options);
    if (!options->saveSettings.empty() && !options->dryRun) options->settings.save(options->saveSettings);
    return runAll(tasks, *options, interruption);
}

}  // namespace
}  // namespace kestrova::develop

int main(int argc, char** argv) {
    try {
        return kestrova::develop::run(argc, argv);
    } catch (const kestrova::photo::Error& error) {
        std::fprintf(stderr, "kestrova-develop: %s\n", error.what());
        return kestrova::develop::exitCodeOf(error.kind());
    } catch (const std::bad_alloc&) {
        std::fputs("kestrova-develop: there is not enough memory\n", stderr);
        return kestrova::develop::kMemory;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kestrova-develop: %s\n", error.what());
        return kestrova::develop::kInput;
    }
}
