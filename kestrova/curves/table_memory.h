#pragma once

#include <memory>
#include <new>

#include "kestrova/primitives/memory.h"

// Tables of one row that release themselves with their last owner. Without memory they throw `std::bad_alloc`.
// Internal.

namespace kestrova::curves {

/// The entries of a table that is indexed by 16 bits.
constexpr int kEntries16 = 65536;

/// Owns a block of `ippiMalloc`, which may be null for want of memory.
inline std::shared_ptr<void> ownTable(void* table) {
    if (!table) throw std::bad_alloc();
    return {table, ippiFree};
}

/// A table of 8-bit entries, which are undefined.
inline std::shared_ptr<void> newTable8U(int entries) {
    int step;
    return ownTable(ippiMalloc_8u_C1(entries, 1, &step));
}

/// The same of 16-bit entries.
inline std::shared_ptr<void> newTable16U(int entries) {
    int step;
    return ownTable(ippiMalloc_16u_C1(entries, 1, &step));
}

}  // namespace kestrova::curves
