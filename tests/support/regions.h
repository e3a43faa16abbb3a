#pragma once

#include <functional>

/// The parallel regions that work opens.
struct Regions {
    int count;
    bool allOfTheWholeTeam;  ///< none asked for a number of threads of its own
};

/// Counts those of `work`. The program has an entry of libgomp of its own for that, in front of the runtime's.
Regions regionsOf(const std::function<void()>& work);

/// Other runtimes have other entries.
#if defined(__clang__) || !defined(__linux__)
constexpr bool kRegionsAreCounted = false;
#else
constexpr bool kRegionsAreCounted = true;
#endif
