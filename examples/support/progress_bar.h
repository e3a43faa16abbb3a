#pragma once

#include <kestrova/kestrova.h>

/// Shows the progress of the whole program as a bar on standard error, if that is a terminal, and turns Ctrl-C into a
/// cancel: `progress()` answers false from then on. There is one bar for the process.
class ProgressBar {
public:
    explicit ProgressBar(bool visible);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    TProgress& progress() { return m_progress; }

private:
    static bool report(int thousandths, void* self);
    void draw(int percent);

    TProgress m_progress;
    bool m_visible;
    int m_shown = -1;
};
