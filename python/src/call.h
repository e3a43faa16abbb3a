#pragma once

#include <omp.h>
#include <pybind11/pybind11.h>

#include <new>
#include <opencv2/core.hpp>
#include <optional>
#include <string>

#include "kestrova/kestrova.h"

// How a call leaves Python for the library and comes back: without the interpreter's lock, without lines on standard
// output, with a bound on OpenMP's threads, and with failures as exceptions.

namespace kestrova::python {

namespace py = pybind11;

/// Throws kestrova.Error with a kind: "core", or one of the photo layer's.
[[noreturn]] void raiseError(const std::string& text, const char* kind = "core");
/// Throws kestrova.Cancelled.
[[noreturn]] void raiseCancelled();
/// The failure of the library that has this text: kestrova.OutOfMemory or kestrova.Error.
[[noreturn]] void raiseFailure(const std::string& text);

/// Keeps the library's lines off standard output in this thread.
class Quiet {
public:
    Quiet() : m_printing(Kestrova::printing()) { Kestrova::setPrinting(false); }
    ~Quiet() { Kestrova::setPrinting(m_printing); }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

private:
    bool m_printing;
};

/// Puts OpenMP's settings of this thread back as they were.
class KeptThreads {
public:
    KeptThreads()
        : m_threads(omp_get_max_threads()), m_dynamic(omp_get_dynamic()), m_levels(omp_get_max_active_levels()) {}
    ~KeptThreads() {
        omp_set_max_active_levels(m_levels);
        omp_set_dynamic(m_dynamic);
        omp_set_num_threads(m_threads);
    }
    KeptThreads(const KeptThreads&) = delete;
    KeptThreads& operator=(const KeptThreads&) = delete;

private:
    int m_threads, m_dynamic, m_levels;
};

/// `threads=`: a positive number, or None for OpenMP's own; ValueError for others.
using Threads = std::optional<int>;
void checkThreads(const Threads& threads);

/// Runs `work` with at most so many threads and translates its failures.
template <class Work>
void callCore(const Threads& threads, const Work& work) {
    checkThreads(threads);
    try {
        const py::gil_scoped_release released;
        const Quiet quiet;
        const KeptThreads kept;
        if (threads) omp_set_num_threads(*threads);
        work();
    } catch (const char* text) {
        raiseFailure(text);
    } catch (int) {
        raiseError("the operation failed without a text");
    } catch (const cv::Exception& failure) {
        if (failure.code == cv::Error::StsNoMem) throw std::bad_alloc();
        raiseError(failure.what());
    }
}

/// `progress=`: a callable that gets the share done, 0 to 1, and may answer False to cancel; or None. Pending signals
/// are looked at with each report, so that an interrupt from the keyboard cancels, too. The work runs within
/// `callCore`; `finish` comes after it.
class Progress {
public:
    /// What the library expects of a report's answer to go on.
    enum class GoOn { onTrue, onFalse };

    explicit Progress(py::object callable, GoOn goOn = GoOn::onTrue);
    TProgress* core() { return &m_core; }
    /// Throws what the callable or a signal has thrown, and kestrova.Cancelled after a False.
    void finish();

private:
    static bool report(int thousandths, void* self);
    bool goesOn(double share);

    py::object m_callable;
    GoOn m_goOn;
    TProgress m_core;
    bool m_cancelled = false;
    std::optional<py::error_already_set> m_failure;
};

/// Calls `callable` with a share, if it is not None; false if it answers False. Throws what it throws, and what a
/// pending signal throws.
bool reportTo(const py::object& callable, double share);

}  // namespace kestrova::python
