#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace kestrova::photo {

/// How a run of a program ended.
struct ProgramRun {
    int code = -1;    ///< -1: by a signal
    std::string out;  ///< standard output
    std::string err;
    double seconds = 0;
};

/// A program that is running, with its streams in files.
class Running {
public:
    Running(const std::string& program, std::vector<std::string> arguments,
            const std::vector<std::string>& environment = {}, const std::function<void()>& prepare = {});
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    pid_t pid() const { return m_pid; }
    ProgramRun wait();

private:
    pid_t m_pid = -1;
    int m_out = -1, m_err = -1;
};

/// Runs kestrova-develop to its end.
ProgramRun runDevelop(std::vector<std::string> arguments, const std::vector<std::string>& environment = {},
                      const std::function<void()>& prepare = {});

}  // namespace kestrova::photo
