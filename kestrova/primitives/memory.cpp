#include "kestrova/primitives/memory.h"

#include <climits>
#include <cstddef>
#include <cstdlib>

namespace {

constexpr std::size_t kRowAlignment = 32;
constexpr std::size_t kBlockAlignment = 64;

std::size_t roundUp(std::size_t bytes, std::size_t alignment) {
    return (bytes + alignment - 1) / alignment * alignment;
}

template <class Element>
Element* allocate(std::size_t bytes) {
    return static_cast<Element*>(std::aligned_alloc(kBlockAlignment, roundUp(bytes, kBlockAlignment)));
}

template <class Element>
Element* allocatePlane(int width, int height, int channels, int* step) {
    if (!step) return nullptr;
    *step = 0;
    if (width <= 0 || height <= 0) return nullptr;
    const std::size_t pixelBytes = sizeof(Element) * static_cast<std::size_t>(channels);
    const std::size_t rowBytes = roundUp(static_cast<std::size_t>(width) * pixelBytes, kRowAlignment);
    if (rowBytes > INT_MAX) return nullptr;
    Element* plane = allocate<Element>(rowBytes * static_cast<std::size_t>(height));
    if (plane) *step = static_cast<int>(rowBytes);
    return plane;
}

template <class Element>
Element* allocateVector(int len) {
    return len < 1 ? nullptr : allocate<Element>(sizeof(Element) * static_cast<std::size_t>(len));
}

}  // namespace

uchar* ippiMalloc_8u_C1(int width, int height, int* step) { return allocatePlane<uchar>(width, height, 1, step); }
ushort* ippiMalloc_16u_C1(int width, int height, int* step) { return allocatePlane<ushort>(width, height, 1, step); }
uchar* ippiMalloc_8u_C4(int width, int height, int* step) { return allocatePlane<uchar>(width, height, 4, step); }
ushort* ippiMalloc_16u_C4(int width, int height, int* step) { return allocatePlane<ushort>(width, height, 4, step); }

void ippiFree(void* block) { std::free(block); }

uchar* ippsMalloc_8u(int len) { return allocateVector<uchar>(len); }
ushort* ippsMalloc_16u(int len) { return allocateVector<ushort>(len); }

void ippsFree(void* block) { std::free(block); }
