#pragma once

#include <memory>
#include <new>
#include <utility>
#include <vector>

// Memory of the sparse solver. Internal.

namespace kestrova::solver {

/// Elements that are given no value get none: large arrays are first touched by the thread that fills them.
template <class T>
struct SolverAllocator : std::allocator<T> {
    template <class U>
    struct rebind {
        using other = SolverAllocator<U>;
    };

    SolverAllocator() = default;
    template <class U>
    SolverAllocator(const SolverAllocator<U>&) {}

    template <class U>
    void construct(U* place) {
        ::new (static_cast<void*>(place)) U;
    }
    template <class U, class... Arguments>
    void construct(U* place, Arguments&&... arguments) {
        ::new (static_cast<void*>(place)) U(std::forward<Arguments>(arguments)...);
    }
};

template <class T>
using SolverArray = std::vector<T, SolverAllocator<T>>;

/// Gives an array `size` elements without values, whatever it held: in the memory it has, if that is enough.
template <class T>
void provide(SolverArray<T>& array, std::size_t size) {
    array.clear();
    if (array.capacity() < size) SolverArray<T>().swap(array);
    array.resize(size);
}

}  // namespace kestrova::solver
