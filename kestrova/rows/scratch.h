#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

#include "kestrova/frame/cache_line.h"

namespace kestrova::rows {

/// Rows of elements that nobody has set, each of which begins on a cache line. Throws `std::bad_alloc`. Internal.
template <class Element>
class Scratch {
public:
    Scratch(std::size_t rows, std::size_t columns) : m_stride((columns + kPerLine - 1) / kPerLine * kPerLine) {
        if (m_stride != 0 && rows > PTRDIFF_MAX / sizeof(Element) / m_stride) throw std::bad_alloc();
        const std::size_t bytes = rows * m_stride * sizeof(Element);
        m_elements.reset(static_cast<Element*>(::operator new(bytes, kAlignment)));
    }

    /// The first element of row `i`.
    Element* row(std::size_t i) const { return m_elements.get() + i * m_stride; }

private:
    static constexpr std::align_val_t kAlignment{frame::kCacheLine};
    /// So many elements fill whole lines.
    static constexpr std::size_t kPerLine =
        frame::kCacheLine % sizeof(Element) == 0 ? frame::kCacheLine / sizeof(Element) : frame::kCacheLine;

    struct Free {
        void operator()(Element* block) const { ::operator delete(block, kAlignment); }
    };

    std::size_t m_stride;
    std::unique_ptr<Element[], Free> m_elements;
};

}  // namespace kestrova::rows
