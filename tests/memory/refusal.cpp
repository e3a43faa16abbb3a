#include "tests/memory/refusal.h"

// Runs before a sanitizer is ready, and so is built without any.

#include <dlfcn.h>
#include <link.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

// Where the runtime of a sanitizer is part of the program, these are its own versions of what this file replaces.
extern "C" __attribute__((weak)) int __interceptor_posix_memalign(void**, std::size_t, std::size_t);
extern "C" __attribute__((weak)) void* __interceptor_aligned_alloc(std::size_t, std::size_t);
extern "C" __attribute__((weak)) void* __interceptor_malloc(std::size_t);
extern "C" __attribute__((weak)) void __interceptor_free(void*);
extern "C" void __libc_free(void*);

// Other libraries are to find these.
#pragma GCC visibility push(default)
extern "C" {
int posix_memalign(void**, std::size_t, std::size_t) noexcept;
void* aligned_alloc(std::size_t, std::size_t) noexcept;
void* malloc(std::size_t) noexcept;
void free(void*) noexcept;
}
#pragma GCC visibility pop

namespace {

std::atomic<bool> armed{false}, refused{false}, tracking{false};
std::atomic<int> left{0};
std::atomic<std::size_t> refusedBytes{0}, largestBlock{SIZE_MAX};
std::atomic<Refusal::Extent> armedExtent{Refusal::kOne};

bool refuse(std::size_t bytes) {
    if (bytes > largestBlock) return true;
    if (!armed) return false;
    const int before = left--;
    const bool now = before == 0 || (before < 0 && armedExtent == Refusal::kAllFromThere);
    if (now && !refused.exchange(true)) refusedBytes = bytes;
    return now;
}

// A hash table without memory of its own; blocks beyond its size are not remembered.
class BlockSet {
public:
    void insert(void* block) {
        const Guard guard(m_busy);
        for (std::size_t i = 0; i < kProbes; ++i) {
            void*& slot = m_slots[(hash(block) + i) % m_slots.size()];
            if (slot) continue;
            slot = block;
            ++m_count;
            return;
        }
    }
    void erase(void* block) {
        const Guard guard(m_busy);
        for (std::size_t i = 0; i < kProbes; ++i) {
            void*& slot = m_slots[(hash(block) + i) % m_slots.size()];
            if (slot != block) continue;
            slot = nullptr;
            --m_count;
            return;
        }
    }
    void clear() {
        const Guard guard(m_busy);
        m_slots.fill(nullptr);
        m_count = 0;
    }
    std::size_t count() const { return m_count; }

private:
    static constexpr std::size_t kProbes = 64;
    struct Guard {
        explicit Guard(std::atomic_flag& flag) : m_flag(flag) {
            while (m_flag.test_and_set(std::memory_order_acquire)) {
            }
        }
        ~Guard() { m_flag.clear(std::memory_order_release); }
        std::atomic_flag& m_flag;
    };
    static std::size_t hash(void* block) { return reinterpret_cast<std::uintptr_t>(block) / 16 * 2654435761u; }

    std::atomic_flag m_busy = ATOMIC_FLAG_INIT;
    std::array<void*, 1 << 16> m_slots{};
    std::atomic<std::size_t> m_count{0};
};

BlockSet liveBlocks;

void* remember(void* block) {
    if (block && tracking) liveBlocks.insert(block);
    return block;
}

template <class Function>
Function next(Function interceptor, const char* name) {
    return interceptor ? interceptor : reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void* realMalloc(std::size_t bytes) {
    // No local static: its guard would wait for itself where the look-up allocates.
    static std::atomic<void* (*)(std::size_t)> real{nullptr};
    if (!real) real = next(&__interceptor_malloc, "malloc");
    return real.load()(bytes);
}

/// The code of OpenCV, which takes planes from `malloc`.
class PlaneLibrary {
public:
    PlaneLibrary() { dl_iterate_phdr(&PlaneLibrary::visit, this); }
    bool holds(const void* address) const {
        const auto place = reinterpret_cast<std::uintptr_t>(address);
        return place >= m_begin && place < m_end;
    }

private:
    static int visit(dl_phdr_info* library, std::size_t, void* self) {
        if (!std::strstr(library->dlpi_name, "libopencv_core")) return 0;
        auto& range = *static_cast<PlaneLibrary*>(self);
        for (int i = 0; i < library->dlpi_phnum; ++i) {
            const auto& segment = library->dlpi_phdr[i];
            if (segment.p_type != PT_LOAD || !(segment.p_flags & PF_X)) continue;
            range.m_begin = library->dlpi_addr + segment.p_vaddr;
            range.m_end = range.m_begin + segment.p_memsz;
        }
        return 1;
    }
    std::uintptr_t m_begin = 0, m_end = 0;
};

const PlaneLibrary& planeLibrary() {
    static const PlaneLibrary library;
    return library;
}

void* realAlignedAlloc(std::size_t alignment, std::size_t bytes) {
    static const auto real = next(&__interceptor_aligned_alloc, "aligned_alloc");
    return real(alignment, bytes);
}

void* blockOrNull(std::size_t bytes) { return refuse(bytes) ? nullptr : remember(realMalloc(bytes ? bytes : 1)); }

void* blockOrNull(std::size_t bytes, std::align_val_t alignment) {
    const auto unit = static_cast<std::size_t>(alignment);
    return refuse(bytes) ? nullptr : remember(realAlignedAlloc(unit, (bytes + unit) / unit * unit));
}

template <class... Alignment>
void* blockOrThrow(std::size_t bytes, Alignment... alignment) {
    if (void* block = blockOrNull(bytes, alignment...)) return block;
    throw std::bad_alloc();
}

}  // namespace

Refusal::Refusal(int n, Extent extent) {
    planeLibrary();
    left = n;
    armedExtent = extent;
    refused = false;
    armed = true;
}
Refusal::~Refusal() { end(); }
void Refusal::end() { armed = false; }
bool Refusal::happened() { return refused; }
std::size_t Refusal::bytes() { return refusedBytes; }

void refuseBlocksAbove(std::size_t bytes) {
    planeLibrary();
    largestBlock = bytes;
}

LiveBlocks::LiveBlocks() {
    planeLibrary();
    liveBlocks.clear();
    tracking = true;
}
LiveBlocks::~LiveBlocks() { tracking = false; }
std::size_t LiveBlocks::count() { return liveBlocks.count(); }

void* operator new(std::size_t bytes) { return blockOrThrow(bytes); }
void* operator new[](std::size_t bytes) { return blockOrThrow(bytes); }
void* operator new(std::size_t bytes, std::align_val_t alignment) { return blockOrThrow(bytes, alignment); }
void* operator new[](std::size_t bytes, std::align_val_t alignment) { return blockOrThrow(bytes, alignment); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { return blockOrNull(bytes); }
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept { return blockOrNull(bytes); }
void* operator new(std::size_t bytes, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return blockOrNull(bytes, alignment);
}
void* operator new[](std::size_t bytes, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return blockOrNull(bytes, alignment);
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, std::align_val_t) noexcept { std::free(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, std::align_val_t, const std::nothrow_t&) noexcept { std::free(block); }

extern "C" int posix_memalign(void** block, std::size_t alignment, std::size_t bytes) noexcept {
    static const auto real = next(&__interceptor_posix_memalign, "posix_memalign");
    if (refuse(bytes)) return ENOMEM;
    const int result = real(block, alignment, bytes);
    if (result == 0) remember(*block);
    return result;
}

extern "C" void* aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept {
    return refuse(bytes) ? nullptr : remember(realAlignedAlloc(alignment, bytes));
}

extern "C" void* malloc(std::size_t bytes) noexcept {
    if (!armed && !tracking && bytes <= largestBlock) return realMalloc(bytes);
    if (!planeLibrary().holds(__builtin_return_address(0))) return realMalloc(bytes);
    return refuse(bytes) ? nullptr : remember(realMalloc(bytes));
}

extern "C" void free(void* block) noexcept {
    if (block && tracking) liveBlocks.erase(block);
    &__interceptor_free ? __interceptor_free(block) : __libc_free(block);
}
