#include "kestrova/frame/payoff.h"

#include <omp.h>

#include <algorithm>
#include <cmath>
#include <ctime>

namespace kestrova::frame {

namespace {

constexpr double kMostCredit = 10e-3;  // some time slices
constexpr double kLargestFactor = 80;
constexpr double kLongestPause = 4;  // times the work: others may be gone when a host has paused

}  // namespace

ThreadTime ThreadTime::now() {
    std::timespec processor{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &processor);
    return {omp_get_wtime(), static_cast<double>(processor.tv_sec) + 1e-9 * static_cast<double>(processor.tv_nsec)};
}

void Payoff::count(double began, double ended, const Effort& own, std::int64_t all, double needed) {
    if (own.amount <= 0) return;
    const double byItself = needed * own.seconds * static_cast<double>(all) / static_cast<double>(own.amount);
    const double gain = byItself - (ended - began);
    if (std::abs(gain) < m_least) return;
    m_account = std::min(m_account + gain, kMostCredit);
    if (m_account == kMostCredit) m_factor = kSmallestFactor;
    if (m_account >= 0) return;
    m_alone = -m_account * m_factor;
    m_aloneSince = ThreadTime::now();
    m_account = 0;
    m_factor = std::min(2 * m_factor, kLargestFactor);
}

bool Payoff::stillAlone() {
    const ThreadTime passed = ThreadTime::now() - m_aloneSince;
    if (passed.processor >= m_alone || passed.clock >= kLongestPause * m_alone) m_alone = 0;
    return m_alone > 0;
}

}  // namespace kestrova::frame
