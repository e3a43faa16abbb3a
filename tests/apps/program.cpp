#include "tests/apps/program.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

namespace kestrova::photo {

namespace {

std::string contentOf(int file) {
    std::string text;
    char piece[4096];
    ::lseek(file, 0, SEEK_SET);
    for (ssize_t got; (got = ::read(file, piece, sizeof piece)) > 0;) text.append(piece, static_cast<std::size_t>(got));
    return text;
}

}  // namespace

Running::Running(const std::string& program, std::vector<std::string> arguments,
                 const std::vector<std::string>& environment, const std::function<void()>& prepare)
    : m_out(::memfd_create("out", 0)), m_err(::memfd_create("err", 0)) {
    std::vector<char*> argv;
    std::string name = program;
    argv.push_back(name.data());
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    m_pid = ::fork();
    if (m_pid == 0) {
        ::dup2(m_out, STDOUT_FILENO);
        ::dup2(m_err, STDERR_FILENO);
        ::setenv("OMP_WAIT_POLICY", "passive", 1);  // tests run side by side: threads without work must not spin
        for (const std::string& variable : environment) ::putenv(const_cast<char*>(variable.c_str()));
        if (prepare) prepare();
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
}

Running::~Running() {
    if (m_pid > 0) wait();
    ::close(m_out);
    ::close(m_err);
}

ProgramRun Running::wait() {
    const auto begin = std::chrono::steady_clock::now();
    int status = 0;
    ::waitpid(m_pid, &status, 0);
    m_pid = -1;
    ProgramRun run;
    run.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = contentOf(m_out);
    run.err = contentOf(m_err);
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return run;
}

ProgramRun runDevelop(std::vector<std::string> arguments, const std::vector<std::string>& environment,
                      const std::function<void()>& prepare) {
    return Running(KESTROVA_DEVELOP, std::move(arguments), environment, prepare).wait();
}

}  // namespace kestrova::photo
