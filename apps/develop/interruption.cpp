#include "develop/interruption.h"

#include <pthread.h>
#include <unistd.h>

#include <chrono>

#include "develop/exit_codes.h"

namespace kestrova::develop {

Interruption::Interruption() {
    // Writing to a closed pipe or past a limit fails instead of ending the program.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    sigemptyset(&m_signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        ::sigaction(number, nullptr, &action);
        if (action.sa_handler != SIG_IGN) sigaddset(&m_signals, number);
    }
    sigaddset(&m_signals, SIGUSR1);  // ends the watcher
    ::pthread_sigmask(SIG_BLOCK, &m_signals, nullptr);
    m_watcher = std::thread([this] { watch(); });
}

Interruption::~Interruption() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_done = true;
    }
    m_ended.notify_all();
    ::pthread_kill(m_watcher.native_handle(), SIGUSR1);
    m_watcher.join();
}

int Interruption::code() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_code;
}

void Interruption::watch() {
    for (;;) {
        int number = 0;
        if (::sigwait(&m_signals, &number) != 0) continue;
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_done) return;
        if (number == SIGUSR1) continue;
        m_code = number == SIGINT ? kCancelled : kTryAgain;
        for (photo::Control* control : m_controls) control->cancel();
        if (!m_ended.wait_for(lock, std::chrono::milliseconds(120), [this] { return m_done; })) ::_exit(m_code);
        return;
    }
}

Interruption::Guarded::Guarded(Interruption& interruption, photo::Control& control)
    : m_interruption(interruption), m_control(control) {
    const std::lock_guard<std::mutex> lock(interruption.m_mutex);
    interruption.m_controls.insert(&control);
    if (interruption.m_code) control.cancel();
}

Interruption::Guarded::~Guarded() {
    const std::lock_guard<std::mutex> lock(m_interruption.m_mutex);
    m_interruption.m_controls.erase(&m_control);
}

}  // namespace kestrova::develop
