#pragma once

#include <cstdint>

namespace kestrova::frame {

/// Seconds of a thread's life: by the clock, and those that a processor has spent on it.
struct ThreadTime {
    double clock = 0, processor = 0;

    /// Of the calling thread, from some moment on.
    static ThreadTime now();
    ThreadTime operator-(const ThreadTime& o) const { return {clock - o.clock, processor - o.processor}; }
    ThreadTime& operator+=(const ThreadTime& o) {
        clock += o.clock;
        processor += o.processor;
        return *this;
    }
};

/// What a member of a team has done.
struct Effort {
    double seconds = 0;       ///< by the clock, without waiting for others
    std::int64_t amount = 0;  ///< pieces, taken to cost the same, or nanoseconds of a processor
};

/// Whether parallel regions pay for the thread that opens them. Where the host's other threads keep those of the team
/// off their processors for longer than the work takes, a region is a loss, and its end tells how large. Losses are
/// paid from what regions have gained before. Where that does not suffice, the thread works alone until a processor has
/// spent ten times what is owed on it, and after each debt that follows twice as many times, up to 80: while nothing
/// changes, all losses together cost little more than a hundredth of the time. Gains that add up end that. Internal.
class Payoff {
public:
    /// Whether the thread is to work alone now.
    bool alone() { return m_alone > 0 && stillAlone(); }

    /// After a region from `began` to `ended`, of the work of which `own` is the calling thread's, and all members
    /// together have done `all`. The thread alone would have had to do the part `needed` of it.
    void count(double began, double ended, const Effort& own, std::int64_t all, double needed = 1);

private:
    bool stillAlone();

    static constexpr double kSmallestFactor = 10;

    double m_least = 300e-6;            ///< what waking a team takes does not count
    double m_account = 0;               ///< what regions have gained
    double m_factor = kSmallestFactor;  ///< work alone takes so many times the next debt
    double m_alone = 0;                 ///< seconds of a processor to be spent alone
    ThreadTime m_aloneSince;
};
/// That of the calling thread.
inline thread_local Payoff payoff;

}  // namespace kestrova::frame
