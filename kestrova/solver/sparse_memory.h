#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace kestrova::solver {

/// Memory of the sparse solver.

/// Asked before each allocation on this thread, null for none; the answer true makes it fail. Tests let memory run out
/// through it.
using AllocationHook = bool (*)(std::size_t bytes);
inline thread_local AllocationHook refuseAllocation = nullptr;

template <class T>
struct SolverAllocator {
    using value_type = T;

    SolverAllocator() = default;
    template <class U>
    SolverAllocator(const SolverAllocator<U>&) {}

    T* allocate(std::size_t count) {
        if (refuseAllocation && refuseAllocation(count * sizeof(T))) throw std::bad_alloc();
        return std::allocator<T>().allocate(count);
    }
    void deallocate(T* block, std::size_t count) { std::allocator<T>().deallocate(block, count); }

    /// Elements that are given no value get none: large arrays are first touched by the thread that fills them.
    template <class U>
    void construct(U* place) {
        ::new (static_cast<void*>(place)) U;
    }
    template <class U, class... Arguments>
    void construct(U* place, Arguments&&... arguments) {
        ::new (static_cast<void*>(place)) U(std::forward<Arguments>(arguments)...);
    }

    friend bool operator==(const SolverAllocator&, const SolverAllocator&) { return true; }
    friend bool operator!=(const SolverAllocator&, const SolverAllocator&) { return false; }
};

template <class T>
using SolverArray = std::vector<T, SolverAllocator<T>>;

}  // namespace kestrova::solver
