#pragma once

namespace kestrova::studio {

/// Makes the C library give large blocks pages of their own, which go back to the system when the block is freed. Where
/// worker threads free such blocks into an arena instead, the window's thread waits for the arena while the system
/// takes the pages back, and the arena keeps those beneath. To be called before threads start; without effect where the
/// C library is not glibc.
void keepLargeBlocksOutOfArenas();

}  // namespace kestrova::studio
