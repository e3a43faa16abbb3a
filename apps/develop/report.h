#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "develop/job.h"

namespace kestrova::develop {

/// Tells on standard output and standard error what happens; may be called from several threads. A pipe that is
/// closed is no failure; a report that cannot be written for another reason is, once all is done.
class Report {
public:
    Report(const Options& options, std::size_t tasks);

    /// A task that runs in place `slot` has done a share of its work.
    void progress(int slot, double share);
    void add(const Task& task, const Outcome& outcome, int slot);
    /// The last words; returns the exit code.
    int finish(int interrupted);

private:
    void draw();
    void clear();
    void addLine(const Task& task, const Outcome& outcome);
    void addJson(const Task& task, const Outcome& outcome);
    void print(const std::string& line);

    const Options& m_options;
    const std::size_t m_tasks;
    const bool m_bar;
    std::mutex m_mutex;
    std::vector<double> m_shares;
    std::size_t m_finished = 0, m_failed = 0, m_skipped = 0, m_done = 0;
    int m_drawn = -1;
    int m_code = kDone;
    int m_lost = 0;  ///< why lines were lost, an errno
};

}  // namespace kestrova::develop
