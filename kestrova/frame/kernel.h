#pragma once

/// Marks a row kernel: a plain loop over plain pointers that the compiler vectorises, compiled once for each level of
/// the instruction set and chosen when the library is loaded. The results are the same bits on every level.
/// Sanitizers instrument the resolver that makes the choice, which runs before their runtime does.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(KESTROVA_ONE_KERNEL)
#define KESTROVA_KERNEL __attribute__((target_clones("arch=x86-64-v4", "arch=x86-64-v3", "default")))
#else
#define KESTROVA_KERNEL
#endif
