#pragma once

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "kestrova/frame/cache_line.h"
#include "kestrova/frame/payoff.h"
#include "kestrova/frame/team_size.h"

// The one place that opens parallel regions: strips of rows, or tasks of unequal cost, shared out to the host's OpenMP
// team. Work too small to pay for waking a team, and work inside a parallel region of the host, runs on the calling
// thread. No throw may leave a parallel region: the work is `noexcept`, and scratch is made before the region begins.
//
// A host keeps cores busy with work of its own, and a region ends when its last thread has come. So there are few of
// them, one a pass over a plane; they are cut into more strips than there are threads; and a thread takes the next
// strip when it has done one: one that comes late, or is interrupted, leaves the others little to wait for. Where that
// is too much still, the calling thread goes on alone for a while, see `Payoff`. What is computed never depends on
// which thread takes what.
//
// Every region asks for the whole team, `teamSize()`, and leaves threads idle where there is less to do: libgomp ends
// the surplus threads of a smaller team and makes new ones for the next. A host that wants the threads made at a moment
// of its choice makes one parallel call then. Internal.

namespace kestrova::frame {

/// Work is counted in elements of a simple kernel, each some half of a nanosecond. Below this many, 15 microseconds,
/// one thread does it: a team that is still awake takes up work within 1 microsecond, waking one takes up to 10.
constexpr int kForkElements = 1 << 15;

/// No strip is cut smaller than some 8 microseconds.
constexpr int kStripElements = 1 << 14;

/// So many bytes are moved in the time of an element: planes that are copied or filled are larger before a team pays.
constexpr int kBytesMovedAtOnce = 16;

/// The work of a row of `cols` pixels that take as long as `cost` elements each.
inline int workOf(int cols, int cost) { return cols > INT_MAX / cost ? INT_MAX : cols * cost; }

/// Calls `member(i)`, which returns its effort, on threads of the team, for different i from 0 to `members` - 1. There
/// may be fewer threads than asked for, only the calling one even: whichever members there are must get everything
/// done. `needed` is the part of the work that is not there only because it is divided.
template <class Member>
void openRegion(int members, double needed, const Member& member) {
    static_assert(noexcept(member(0)), "no throw may cross the boundary of a parallel region");
    if (payoff.alone()) {
        member(0);
        return;
    }
    const double began = omp_get_wtime();
    Effort own;
    std::atomic<std::int64_t> all{0};
#pragma omp parallel num_threads(teamSize())
    if (const int self = omp_get_thread_num(); self < members) {
        const Effort effort = member(self);
        all.fetch_add(effort.amount, std::memory_order_relaxed);
        if (self == 0) own = effort;
    }
    payoff.count(began, omp_get_wtime(), own, all, needed);
}

/// Calls `member(i)` likewise, whose effort is the time that a processor spends on it; it returns for how long it has
/// waited for others.
template <class Member>
void withTeam(int members, const Member& member, double needed = 1) {
    static_assert(noexcept(member(0)), "no throw may cross the boundary of a parallel region");
    if (members <= 1) {
        member(0);
        return;
    }
    openRegion(members, needed, [&](int self) noexcept {
        const ThreadTime joined = ThreadTime::now();
        const ThreadTime waited = member(self);
        const ThreadTime worked = ThreadTime::now() - joined - waited;
        return Effort{worked.clock, std::llround(1e9 * worked.processor)};
    });
}

/// The numbers 0 to `count` - 1, shared out to the members of a team. Each begins with a run of neighbours of its own,
/// which keeps it to its part of a plane, and goes on with what the others have left of theirs.
class Shares {
public:
    Shares(int count, int members) : m_count(count), m_runs(std::clamp(members, 1, kMostRuns)) {
        for (int run = 0; run < m_runs; ++run) m_next[run].number.store(first(run), std::memory_order_relaxed);
    }

    /// Calls `piece(i)` for numbers that nobody else gets, until there are none.
    template <class Piece>
    void take(int member, const Piece& piece) noexcept {
        for (int k = 0; k < m_runs; ++k) {
            const int run = (member + k) % m_runs, end = first(run + 1);
            for (int i; (i = m_next[run].number.fetch_add(1, std::memory_order_relaxed)) < end;) piece(i);
        }
    }

private:
    static constexpr int kMostRuns = 64;

    /// Members that count in their own runs do not disturb one another.
    struct alignas(kCacheLine) Next {
        std::atomic<int> number;
    };

    int first(int run) const { return static_cast<int>(static_cast<long long>(m_count) * run / m_runs); }

    int m_count, m_runs;
    Next m_next[kMostRuns];
};

/// Contiguous strips of `rows` rows. Strips begin at multiples of `blockRows`.
class Strips {
public:
    /// Several strips a thread, as many for each. `work` is that of a row, see `workOf`.
    Strips(int rows, int work, int blockRows = 1) : Strips(rows, work, blockRows, kStripsAThread) {}

    /// One strip a thread: for work that makes a new start at each strip, with rows of its neighbours.
    static Strips onePerThread(int rows, int work, int blockRows = 1) { return {rows, work, blockRows, 1}; }

    /// How many strips there are.
    int count() const { return m_count; }
    /// How many threads work on them at most.
    int workers() const { return m_workers; }
    /// The first row of a strip.
    int first(int strip) const {
        const long long block = static_cast<long long>(m_blocks) * strip / m_count;
        return static_cast<int>(std::min<long long>(block * m_blockRows, m_rows));
    }
    /// The row behind its last one.
    int end(int strip) const { return first(strip + 1); }

private:
    static constexpr int kStripsAThread = 4;

    Strips(int rows, int work, int blockRows, int stripsAThread)
        : m_rows(rows), m_blockRows(blockRows), m_blocks(rows < 1 ? 0 : (rows - 1) / blockRows + 1) {
        const long long elements = static_cast<long long>(std::max(rows, 0)) * work;
        const int threads = m_blocks > 1 && elements >= kForkElements ? teamSize() : 1;
        if (threads == 1) return;
        const long long most = std::min<long long>(m_blocks, elements / kStripElements);
        m_workers = static_cast<int>(std::min(most, static_cast<long long>(threads)));
        m_count = m_workers * static_cast<int>(std::min(most / m_workers, static_cast<long long>(stripsAThread)));
    }

    int m_rows, m_blockRows, m_blocks, m_count = 1, m_workers = 1;
};

/// Calls `work(strip, worker)` for each strip.
template <class Work>
void shareStrips(const Strips& strips, const Work& work) {
    static_assert(noexcept(work(0, 0)), "no throw may cross the boundary of a parallel region");
    if (strips.workers() == 1) {
        work(0, 0);
        return;
    }
    Shares shares(strips.count(), strips.workers());
    openRegion(strips.workers(), 1, [&](int worker) noexcept {
        const double began = omp_get_wtime();
        int taken = 0;
        shares.take(worker, [&](int strip) noexcept {
            work(strip, worker);
            ++taken;
        });
        return Effort{omp_get_wtime() - began, taken};
    });
}

/// Calls `work(first, end)` for the rows of each strip. The results of `work` must not depend on where a strip begins.
template <class Work>
void forEachStrip(const Strips& strips, const Work& work) {
    static_assert(noexcept(work(0, 0)), "no throw may cross the boundary of a parallel region");
    shareStrips(strips, [&](int s, int) noexcept { work(strips.first(s), strips.end(s)); });
}

/// Calls `work(first, end, scratch)` likewise, with an element of `scratch` for each strip: takes no memory.
template <class Scratch, class Work>
void forEachStripWith(const Strips& strips, std::vector<Scratch>& scratch, const Work& work) {
    static_assert(noexcept(work(0, 0, scratch[0])), "no throw may cross the boundary of a parallel region");
    shareStrips(strips, [&](int s, int) noexcept {
        work(strips.first(s), strips.end(s), scratch[static_cast<std::size_t>(s)]);
    });
}

/// Calls `work(first, end, scratch)` likewise, with scratch that is made on the calling thread, before the first call
/// of `work`: `makeScratch()` makes that of a thread, which takes strip after strip, in any order; `makeScratch(strip)`
/// makes that of a strip.
template <class MakeScratch, class Work>
void forEachStrip(const Strips& strips, const MakeScratch& makeScratch, const Work& work) {
    if constexpr (std::is_invocable_v<MakeScratch>) {
        std::vector<std::decay_t<decltype(makeScratch())>> scratch;
        scratch.reserve(static_cast<std::size_t>(strips.workers()));
        for (int w = 0; w < strips.workers(); ++w) scratch.push_back(makeScratch());
        static_assert(noexcept(work(0, 0, scratch[0])), "no throw may cross the boundary of a parallel region");
        shareStrips(strips, [&](int s, int worker) noexcept {
            work(strips.first(s), strips.end(s), scratch[static_cast<std::size_t>(worker)]);
        });
    } else {
        std::vector<std::decay_t<decltype(makeScratch(0))>> scratch;
        scratch.reserve(static_cast<std::size_t>(strips.count()));
        for (int s = 0; s < strips.count(); ++s) scratch.push_back(makeScratch(s));
        forEachStripWith(strips, scratch, work);
    }
}

/// Calls `row(r)` for each r in [0, rows), a row taking as long as `work` elements.
template <class Row>
void parallelRows(int rows, int work, const Row& row) {
    static_assert(noexcept(row(0)), "no throw may cross the boundary of a parallel region");
    forEachStrip(Strips(rows, work), [&](int first, int end) noexcept {
        for (int r = first; r < end; ++r) row(r);
    });
}

/// How many workers `parallelTasks` gives to `tasks` tasks; scratch is allocated one a worker.
inline int workerCount(int tasks) { return tasks < 2 ? tasks : std::min(teamSize(), tasks); }

/// Calls `task(i, worker)` for each i in [0, tasks), handed out one at a time: for tasks of unequal cost. The results
/// of a task must not depend on the worker. `needed` as for `openRegion`.
template <class Task>
void parallelTasks(int workers, int tasks, const Task& task, double needed = 1) {
    static_assert(noexcept(task(0, 0)), "no throw may cross the boundary of a parallel region");
    Shares shares(tasks, 1);
    const auto member = [&](int worker) noexcept {
        shares.take(0, [&](int i) noexcept { task(i, worker); });
        return ThreadTime();
    };
    withTeam(workers, member, needed);
}

}  // namespace kestrova::frame
