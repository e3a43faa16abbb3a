#include "call.h"

namespace kestrova::python {

namespace {

// The exceptions are Python's own classes, so that they can be pickled and have documentation like all else.
[[noreturn]] void raise(const char* className, const py::object& value) {
    const py::object type = py::module_::import("kestrova._errors").attr(className);
    PyErr_SetObject(type.ptr(), value.ptr());
    throw py::error_already_set();
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

void raiseError(const std::string& text, const char* kind) {
    raise(std::string(kind) == "memory" ? "OutOfMemory" : "Error", py::make_tuple(text, kind));
}

void raiseCancelled() { raise("Cancelled", py::make_tuple("cancelled", "cancelled")); }

void raiseFailure(const std::string& text) {
    const bool memory = endsWith(text, "not enough memory") || endsWith(text, "ippsMalloc_8u(pBufferSize)");
    raiseError(text, memory ? "memory" : "core");
}

void checkThreads(const Threads& threads) {
    if (threads && *threads < 1)
        throw py::value_error("threads: expected None or a number above 0, got " + std::to_string(*threads));
}

bool reportTo(const py::object& callable, double share) {
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
    return callable.is_none() || !callable(share).is(py::bool_(false));
}

Progress::Progress(py::object callable, GoOn goOn)
    : m_callable(std::move(callable)), m_goOn(goOn), m_core(&Progress::report, this) {}

bool Progress::report(int thousandths, void* self) {
    Progress& progress = *static_cast<Progress*>(self);
    return progress.goesOn(thousandths / 1000.0) == (progress.m_goOn == GoOn::onTrue);
}

bool Progress::goesOn(double share) {
    if (m_failure || m_cancelled) return false;
    const py::gil_scoped_acquire lock;
    try {
        m_cancelled = !reportTo(m_callable, share);
    } catch (py::error_already_set& failure) {
        m_failure.emplace(std::move(failure));
    }
    return !m_failure && !m_cancelled;
}

void Progress::finish() {
    if (m_failure) throw py::error_already_set(std::move(*m_failure));
    if (m_cancelled) raiseCancelled();
}

}  // namespace kestrova::python
