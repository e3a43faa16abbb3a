#pragma once

#include <condition_variable>
#include <csignal>
#include <mutex>
#include <set>
#include <thread>

#include "photo/control.h"

namespace kestrova::develop {

/// Turns SIGINT, SIGTERM and SIGHUP into cancelled work, unless they were ignored from the start. Work that cannot stop
/// at once, such as a decoder's, is left after 0.15 s by ending the process: targets are whole or not there at any
/// time. Made once, before any other thread.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// While it lives, a control is cancelled by those signals.
    class Guarded {
    public:
        Guarded(Interruption& interruption, photo::Control& control);
        ~Guarded();
        Guarded(const Guarded&) = delete;
        Guarded& operator=(const Guarded&) = delete;

    private:
        Interruption& m_interruption;
        photo::Control& m_control;
    };

    /// Which exit code a signal asked for; 0 while there was none.
    int code() const;

private:
    void watch();

    sigset_t m_signals;
    mutable std::mutex m_mutex;
    std::condition_variable m_ended;
    std::set<photo::Control*> m_controls;
    int m_code = 0;
    bool m_done = false;
    std::thread m_watcher;
};

}  // namespace kestrova::develop
