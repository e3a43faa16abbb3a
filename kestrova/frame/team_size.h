#pragma once

namespace kestrova::frame {

/// How many threads a region has: those that the host has set, or fewer where the system does not let so many be
/// started; 1 inside a region, and while the thread is to work alone, see `Payoff`.
///
/// libgomp ends the process where it cannot start a thread of a team. So when a thread of the host first asks for a
/// team of that size, as many threads as it needs are started and ended; where not all can be, the team has half of the
/// others, and after a second all are tried again. This does not help where `OMP_STACKSIZE` asks for larger stacks than
/// the system's default, or where others take the last threads at that moment. Internal.
int teamSize();

}  // namespace kestrova::frame
