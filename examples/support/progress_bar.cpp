#include "progress_bar.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>

namespace {

constexpr int kBarWidth = 40;

volatile std::sig_atomic_t interrupted = 0;

void interrupt(int) { interrupted = 1; }

}  // namespace

ProgressBar::ProgressBar(bool visible) : m_progress(report, this), m_visible(visible && ::isatty(STDERR_FILENO)) {
    std::signal(SIGINT, interrupt);
}

ProgressBar::~ProgressBar() {
    if (m_shown >= 0) std::fputc('\n', stderr);
    std::signal(SIGINT, SIG_DFL);
}

bool ProgressBar::report(int thousandths, void* self) {
    static_cast<ProgressBar*>(self)->draw(thousandths / 10);
    return !interrupted;
}

void ProgressBar::draw(int percent) {
    if (!m_visible || percent == m_shown) return;
    m_shown = percent;
    std::string bar(static_cast<std::size_t>(percent * kBarWidth / 100), '#');
    bar.resize(kBarWidth, '.');
    std::fprintf(stderr, "\r[%s] %3d %%", bar.c_str(), percent);
    std::fflush(stderr);
}
