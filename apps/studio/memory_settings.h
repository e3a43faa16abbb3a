#pragma once

namespace kestrova::studio {

/// Keeps planes out of the arenas of the C library: a thread maps memory and gives it back with its arena locked, for
/// as long as the system takes, and the window's thread waits whenever it frees what came from there. What is left in
/// the arenas grows and shrinks seldom. To be called before threads start; without effect where neither the system is
/// Linux nor the C library glibc.
void keepLargeBlocksOutOfArenas();

}  // namespace kestrova::studio
