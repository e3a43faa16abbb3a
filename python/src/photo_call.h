#pragma once

#include <atomic>
#include <functional>

#include "call.h"
#include "photo/control.h"

namespace kestrova::python {

/// Runs work of the photo layer on a thread of its own, while the caller's waits without the interpreter's lock and
/// wakes now and then: to hand the share done to `progress=`, and to look at pending signals. So an interrupt from the
/// keyboard cancels whatever is under way, and Python is called on the caller's thread alone. The work gets a control
/// to report to and to be cancelled by. Translates the layer's failures.
void callPhoto(const py::object& progress, const std::function<void(photo::Control&)>& work);

/// `threads=` as the layer takes it: 0 for None, which stands for one a processor.
int photoThreads(const Threads& threads);

}  // namespace kestrova::python
