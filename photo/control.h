#pragma once

#include <atomic>
#include <functional>

#include "photo/export.h"

namespace kestrova::photo {

/// What a host holds of work that it has started: a report of how far it is, and a way to stop it.
class KESTROVA_PHOTO_EXPORT Control {
public:
    /// Called on the thread that asked for the work, with the share that is done, 0 to 1, growing.
    std::function<void(double share)> progress;

    /// Stops the work from any thread, or from a signal handler: it ends with an `Error` of kind cancelled. Work that
    /// is given this control later ends at once.
    void cancel() noexcept { m_cancelled.store(true, std::memory_order_relaxed); }
    /// What the functions that read and write files take.
    const std::atomic<bool>* flag() const noexcept { return &m_cancelled; }
    /// Whether it was cancelled.
    bool cancelled() const noexcept { return m_cancelled.load(std::memory_order_relaxed); }

private:
    std::atomic<bool> m_cancelled{false};
};

}  // namespace kestrova::photo
