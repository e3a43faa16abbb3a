#pragma once

// Marks of row kernels. Internal.

/// Marks a row kernel: a plain loop over plain pointers that the compiler vectorises. It is compiled once for each
/// level of the instruction set; a resolver picks one when the library is loaded. Results are the same bits on every
/// level. Tests compile one level alone, named by KESTROVA_KERNEL_LEVEL.
#if !defined(__x86_64__) || !defined(__GNUC__)
#define KESTROVA_KERNEL
#elif defined(KESTROVA_KERNEL_LEVEL)
#define KESTROVA_KERNEL __attribute__((target("arch=" KESTROVA_KERNEL_LEVEL)))
#elif defined(__clang__)
#define KESTROVA_KERNEL
#elif __GNUC__ < 12  // its resolvers know processors, not levels: one of each level
#define KESTROVA_KERNEL __attribute__((target_clones("arch=skylake-avx512", "arch=haswell", "default")))
#else
#define KESTROVA_KERNEL __attribute__((target_clones("arch=x86-64-v4", "arch=x86-64-v3", "default")))
#endif

/// Marks a row function that no level of the instruction set makes faster, to be compiled apart from the loop that
/// calls it.
#if defined(__GNUC__)
#define KESTROVA_OUT_OF_LINE __attribute__((noinline))
#else
#define KESTROVA_OUT_OF_LINE
#endif

/// Before the loop of a kernel that may run in place: each element depends on its own position alone, so planes that
/// coincide are no reason not to vectorise.
#if defined(__clang__)
#define KESTROVA_INDEPENDENT _Pragma("clang loop vectorize(assume_safety)")
#elif defined(__GNUC__)
#define KESTROVA_INDEPENDENT _Pragma("GCC ivdep")
#else
#define KESTROVA_INDEPENDENT
#endif

// GCC 11 has the shuffle of vectors under an older name, with the lanes in a vector of integers.
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ < 12
#define __builtin_shufflevector(a, b, ...) __builtin_shuffle(a, b, decltype((a) == (b)){__VA_ARGS__})
#endif
