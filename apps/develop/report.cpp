#include "develop/report.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>

namespace kestrova::develop {

namespace {

const char* nameOf(Outcome::Kind kind) {
    switch (kind) {
        case Outcome::Kind::done: return "done";
        case Outcome::Kind::skipped: return "skipped";
        case Outcome::Kind::planned: return "planned";
        case Outcome::Kind::failed: return "failed";
        case Outcome::Kind::cancelled: return "cancelled";
    }
    return "";
}

// Of the whole program so far, in MB. What getrusage counts begins with the process that started it.
double peakMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmHWM:", 0) == 0) return std::strtod(line.c_str() + 6, nullptr) * 1024 / 1e6;
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) * 1024 / 1e6;
}

}  // namespace

Report::Report(const Options& options, std::size_t tasks)
    : m_options(options),
      m_tasks(tasks),
      m_bar(!options.quiet && !options.dryRun && ::isatty(STDERR_FILENO)),
      m_shares(static_cast<std::size_t>(options.jobs)) {}

void Report::progress(int slot, double share) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_shares[slot] = share;
    draw();
}

void Report::add(const Task& task, const Outcome& outcome, int slot) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_shares[slot] = 0;
    ++m_finished;
    if (outcome.kind == Outcome::Kind::failed) ++m_failed;
    if (outcome.kind == Outcome::Kind::skipped) ++m_skipped;
    if (outcome.kind == Outcome::Kind::done) ++m_done;
    // Memory before files before input: what is more urgent to set right.
    if (outcome.code != kCancelled) m_code = std::max(m_code, static_cast<int>(outcome.code));
    clear();
    if (m_options.json) addJson(task, outcome);
    addLine(task, outcome);
    draw();
}

int Report::finish(int interrupted) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    clear();
    if (interrupted && m_done + m_skipped + m_failed < m_tasks) {
        std::fprintf(stderr, "kestrova-develop: cancelled, %zu of %zu done\n", m_done + m_skipped, m_tasks);
        return interrupted;
    }
    if (m_tasks > 1 && !m_options.quiet && !m_options.json && !m_options.dryRun)
        print(std::to_string(m_done) + " done, " + std::to_string(m_skipped) + " up to date, " +
              std::to_string(m_failed) + " failed");
    if (m_lost == 0) return m_code;
    std::fprintf(stderr, "kestrova-develop: standard output: %s\n", std::strerror(m_lost));
    return std::max<int>(m_code, kFile);
}

void Report::addLine(const Task& task, const Outcome& outcome) {
    if (outcome.kind == Outcome::Kind::failed) {
        std::fprintf(stderr, "kestrova-develop: %s\n", outcome.error.c_str());
        return;
    }
    if (m_options.quiet || m_options.json || outcome.kind == Outcome::Kind::cancelled) return;
    for (const std::string& note : outcome.notes)
        std::fprintf(stderr, "kestrova-develop: %s: %s\n", task.input.c_str(), note.c_str());
    const char* what = outcome.kind == Outcome::Kind::skipped   ? " (up to date)"
                       : outcome.kind == Outcome::Kind::planned ? " (not done)"
                                                                : "";
    print(task.input + " -> " + task.output + what);
}

void Report::addJson(const Task& task, const Outcome& outcome) {
    nlohmann::ordered_json line = {{"input", task.input}};
    if (!task.output.empty()) line["output"] = task.output;
    line["outcome"] = nameOf(outcome.kind);
    line["seconds"] = std::round(outcome.seconds * 1000) / 1000;
    line["peak_memory_mb"] = std::round(peakMemory());
    if (outcome.bytes) line["bytes"] = outcome.bytes;
    if (!outcome.notes.empty()) line["notes"] = outcome.notes;
    if (outcome.kind == Outcome::Kind::failed) {
        line["error"] = outcome.error;
        line["code"] = static_cast<int>(outcome.code);
    }
    // Names that are not UTF-8 show the character for what is unknown.
    print(line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

void Report::print(const std::string& line) {
    std::printf("%s\n", line.c_str());
    if (std::fflush(stdout) != 0 && errno != EPIPE) m_lost = errno;
}

void Report::draw() {
    if (!m_bar) return;
    double share = static_cast<double>(m_finished);
    for (const double part : m_shares) share += part;
    const int percent = static_cast<int>(100 * share / static_cast<double>(std::max<std::size_t>(1, m_tasks)));
    if (percent == m_drawn) return;
    m_drawn = percent;
    const std::string bar(static_cast<std::size_t>(percent * 2 / 5), '#');
    std::fprintf(stderr, "\r[%-40s] %3d %%  %zu of %zu", bar.c_str(), percent, m_finished, m_tasks);
}

void Report::clear() {
    if (m_bar && m_drawn >= 0) std::fputs("\r\033[K", stderr);
    m_drawn = -1;
}

}  // namespace kestrova::develop
