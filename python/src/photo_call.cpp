#include "photo_call.h"

#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

#include "photo/error.h"

namespace kestrova::python {

namespace {

constexpr auto kWake = std::chrono::milliseconds(20);

const char* nameOf(photo::Error::Kind kind) {
    switch (kind) {
        case photo::Error::Kind::input: return "input";
        case photo::Error::Kind::file: return "file";
        case photo::Error::Kind::memory: return "memory";
        case photo::Error::Kind::cancelled: return "cancelled";
        case photo::Error::Kind::programming: return "programming";
    }
    return "programming";
}

// The work, its thread and how far it is.
class Worker {
public:
    explicit Worker(const std::function<void(photo::Control&)>& work) {
        m_control.progress = [this](double share) { m_share.store(share); };
        m_thread = std::thread([this, work] {
            try {
                const Quiet quiet;
                work(m_control);
            } catch (...) {
                m_failure = std::current_exception();
            }
            const std::lock_guard lock(m_mutex);
            m_done = true;
            m_wake.notify_one();
        });
    }
    ~Worker() {
        const py::gil_scoped_release released;
        m_thread.join();
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Whether the work has ended after so long.
    bool waitFor(std::chrono::milliseconds time) {
        const py::gil_scoped_release released;
        std::unique_lock lock(m_mutex);
        return m_wake.wait_for(lock, time, [this] { return m_done; });
    }
    double share() const { return m_share.load(); }
    void cancel() { m_control.cancel(); }
    /// After the end of the work.
    void rethrow() const {
        if (m_failure) std::rethrow_exception(m_failure);
    }

private:
    photo::Control m_control;
    std::atomic<double> m_share{0};
    std::exception_ptr m_failure;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_done = false;
    std::thread m_thread;
};

// Waits for the end, reporting and looking at signals; cancels on a False, and on what the callable or a signal throws.
void attend(Worker& worker, const py::object& progress) {
    std::optional<py::error_already_set> interruption;
    double reported = 0;
    bool cancelled = false;
    for (bool done = false; !done;) {
        done = worker.waitFor(kWake);
        if (cancelled) continue;
        try {
            const double share = worker.share();
            cancelled = !reportTo(share > reported ? progress : py::none(), share);
            reported = share;
        } catch (py::error_already_set& failure) {
            interruption.emplace(std::move(failure));
            cancelled = true;
        }
        if (cancelled) worker.cancel();
    }
    if (interruption) throw py::error_already_set(std::move(*interruption));
    if (cancelled) raiseCancelled();
    worker.rethrow();
}

}  // namespace

void callPhoto(const py::object& progress, const std::function<void(photo::Control&)>& work) {
    try {
        Worker worker(work);
        attend(worker, progress);
    } catch (const photo::Error& failure) {
        if (failure.kind() == photo::Error::Kind::cancelled) raiseCancelled();
        raiseError(failure.what(), nameOf(failure.kind()));
    } catch (const char* text) {
        raiseFailure(text);
    }
}

int photoThreads(const Threads& threads) {
    checkThreads(threads);
    return threads.value_or(0);
}

}  // namespace kestrova::python
