#pragma once

#include <cstddef>

/// Refuses one allocation of the process, the `n`-th from now on counted from 0, or that and all after it, while the
/// object lives: `operator new` in every form, `aligned_alloc`, `posix_memalign`, and the `malloc` of OpenCV's planes.
/// That of others is left alone: the runtime of the threads ends the process where it gets none.
class Refusal {
public:
    enum Extent { kOne, kAllFromThere };
    Refusal(int n, Extent extent);
    ~Refusal();
    Refusal(const Refusal&) = delete;
    Refusal& operator=(const Refusal&) = delete;
    /// Refuses nothing any more.
    static void end();
    /// True if an allocation has been refused.
    static bool happened();
    /// The size of the first of them.
    static std::size_t bytes();
};

/// From now on refuses every single block above that size, whether a `Refusal` lives or not.
void refuseBlocksAbove(std::size_t bytes);

/// Remembers the blocks that are made while the object lives and are still there.
class LiveBlocks {
public:
    LiveBlocks();
    ~LiveBlocks();
    LiveBlocks(const LiveBlocks&) = delete;
    LiveBlocks& operator=(const LiveBlocks&) = delete;
    /// How many there are.
    static std::size_t count();
};
