#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "kestrova/frame/cache_line.h"

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

/// Where arrays lie in one block, each from the begin of a cache line on.
class Layout {
public:
    static constexpr std::size_t kLine = frame::kCacheLine;

    /// The place of an array of `count` elements.
    template <class T>
    std::size_t add(std::int64_t count) {
        const std::size_t place = m_size;
        m_size += (static_cast<std::size_t>(count) * sizeof(T) + kLine - 1) / kLine * kLine;
        return place;
    }
    std::size_t size() const { return m_size; }

private:
    std::size_t m_size = 0;
};

/// Scratch that one user after another lays out.
class Workspace {
public:
    /// Makes room, in the memory at hand if that is enough. What was there is lost.
    void provideFor(const Layout& layout) {
        provide(m_bytes, layout.size() + Layout::kLine);
        m_first = (Layout::kLine - reinterpret_cast<std::uintptr_t>(m_bytes.data()) % Layout::kLine) % Layout::kLine;
    }
    template <class T>
    T* at(std::size_t place) {
        return reinterpret_cast<T*>(m_bytes.data() + m_first + place);
    }

private:
    SolverArray<std::byte> m_bytes;
    std::size_t m_first = 0;
};

/// What takes most of a solver's memory. It may be kept from one solver for the next: each touches anew only what is
/// larger than before.
struct SolverMemory {
    SolverArray<float> factor;
    SolverArray<float> diagonal, below;  ///< of the reordered matrix, `below` as `EliminationPattern::columnRows`
    Workspace workspace;
};

}  // namespace kestrova::solver
