#pragma once

#include <atomic>
#include <functional>
#include <thread>

#include "photo/control.h"
#include "photo/error.h"

namespace kestrova::photo {

/// Rethrows the exception that is being handled, as an `Error` of the right kind: the core's texts and its 0, OpenCV's
/// exceptions, those of the standard library. To be called in a catch block.
[[noreturn]] void rethrowAsError();

/// Runs `work` and turns whatever it throws into an `Error`.
template <class Work>
auto translated(const Work& work) -> decltype(work()) {
    try {
        return work();
    } catch (...) {
        rethrowAsError();
    }
}

/// While it lives, the core runs on at most `threads` threads when it is called from this thread, and prints nothing.
/// The host's own OpenMP settings and its printing come back at the end. OpenMP keeps the settings that it changes
/// apart for each of the host's threads, so that others are not touched.
class CoreScope {
public:
    explicit CoreScope(int threads);
    ~CoreScope();
    CoreScope(const CoreScope&) = delete;
    CoreScope& operator=(const CoreScope&) = delete;

private:
    int m_threads, m_dynamic, m_levels;
    bool m_printing;
};

/// One piece of work in steps: reports its share to the control and throws once the host has cancelled.
class Steps {
public:
    /// `total`: the sum of the weights of all steps to come. `control` may be null.
    Steps(Control* control, double total) : m_control(control), m_total(total) {}

    /// Throws `Error` of kind cancelled if the host has asked to stop.
    void check() const;
    bool cancelled() const noexcept { return m_control && m_control->cancelled(); }
    /// A step of that weight is done; the thread that constructed this reports it.
    void done(double weight);

    /// Calls `task(i)` for each i in [0, count) on the threads of the `CoreScope`, each `weight` of the work; within a
    /// task the core runs on one thread. The first exception of a task, or a cancel, ends the rest and is thrown.
    void parallel(int count, double weight, const std::function<void(int)>& task);

private:
    void report();

    Control* m_control;
    double m_total;
    const std::thread::id m_thread = std::this_thread::get_id();
    std::atomic<double> m_done{0};
    double m_reported = 0;
};

}  // namespace kestrova::photo
