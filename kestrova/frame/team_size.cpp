#include "kestrova/frame/team_size.h"

#include <omp.h>
#include <pthread.h>

#include <algorithm>

#include "kestrova/frame/payoff.h"

namespace kestrova::frame {

namespace {

/// Starts a thread that starts the next one, and so on, up to `wanted` that live at the same time. Returns how many
/// there were.
int startInTurn(int wanted) {
    if (wanted == 0) return 0;
    const auto startOthers = [](void* others) -> void* {
        int& count = *static_cast<int*>(others);
        count = startInTurn(count);
        return nullptr;
    };
    int others = wanted - 1;
    pthread_t thread;
    if (pthread_create(&thread, nullptr, startOthers, &others) != 0) return 0;
    pthread_join(thread, nullptr);
    return 1 + others;
}

class StartableTeam {
public:
    int sizeUpTo(int wanted) {
        if (wanted > m_size && !(wanted <= m_wanted && omp_get_wtime() < m_tryAgain)) {
            const int started = startInTurn(wanted - 1);
            // Of too few some are left to others: threads that have ended count until the system has cleared them away.
            // Those of the team at hand live on beside the ones that are tried.
            m_size = std::max(m_size, 1 + (started < wanted - 1 ? started / 2 : started));
            m_wanted = wanted;
            m_tryAgain = omp_get_wtime() + kSecondsUntilAgain;
        }
        return std::min(wanted, m_size);
    }

private:
    static constexpr double kSecondsUntilAgain = 1;

    int m_size = 1;
    int m_wanted = 1;  ///< when it was tried
    double m_tryAgain = 0;
};

}  // namespace

int teamSize() {
    thread_local StartableTeam team;
    return omp_in_parallel() || payoff.alone() ? 1 : team.sizeUpTo(omp_get_max_threads());
}

}  // namespace kestrova::frame
