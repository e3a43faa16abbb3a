#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

/// A process bound to each processor that computes without a pause, from construction to destruction.
class BusyProcesses {
public:
    BusyProcesses();
    BusyProcesses(const BusyProcesses&) = delete;
    ~BusyProcesses();

private:
    std::vector<pid_t> m_processes;
};

/// A row of the table: makes its planes and returns the work on them.
struct BusyRow {
    std::string name;
    std::function<std::function<void()>()> prepare;
};

/// Measures those of `rows` whose names match `filter` beside busy processes, with 1 thread and with all in turn, and
/// prints the medians and their ratio. Returns how many rows are slower with all threads than with one, in each of
/// three measurements, by more than the noise of such a measurement.
int measureBesideBusyProcesses(const std::vector<BusyRow>& rows, const std::string& filter);
