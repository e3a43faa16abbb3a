#include "studio/plane_allocator.h"

#include <sys/mman.h>

#include <algorithm>
#include <memory>

namespace kestrova::studio {

namespace {

constexpr std::size_t kUnit = std::size_t{1} << 20;   // of sizes, so that a kept block fits more planes
constexpr std::size_t kPiece = std::size_t{4} << 20;  // that the system takes back in a fraction of a millisecond

std::size_t inUnits(std::size_t bytes) { return (bytes + kUnit - 1) / kUnit * kUnit; }

void giveBack(uchar* data, std::size_t bytes) {
    for (std::size_t done = 0; done < bytes; done += kPiece) munmap(data + done, std::min(kPiece, bytes - done));
}

}  // namespace

PlaneAllocator::PlaneAllocator() { m_kept.reserve(kMostKept / kUnit); }

PlaneAllocator::~PlaneAllocator() {
    for (const Block& block : m_kept) giveBack(block.data, block.bytes);
}

cv::UMatData* PlaneAllocator::allocate(int dims, const int* sizes, int type, void* data, std::size_t* steps,
                                       cv::AccessFlag access, cv::UMatUsageFlags usage) const {
    std::size_t bytes = CV_ELEM_SIZE(type);
    for (int i = 0; i < dims; ++i) bytes *= static_cast<std::size_t>(sizes[i]);
    if (data || bytes < kLeast)
        return cv::Mat::getStdAllocator()->allocate(dims, sizes, type, data, steps, access, usage);

    auto plane = std::make_unique<cv::UMatData>(this);
    plane->size = bytes;
    plane->data = plane->origdata = kept(inUnits(bytes));
    if (!plane->data) {
        void* block = mmap(nullptr, inUnits(bytes), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (block == MAP_FAILED) CV_Error(cv::Error::StsNoMem, "no memory for a plane");
#ifdef MADV_HUGEPAGE
        if (bytes >= kLarge) madvise(block, inUnits(bytes), MADV_HUGEPAGE);
#endif
        plane->data = plane->origdata = static_cast<uchar*>(block);
    }
    std::size_t step = CV_ELEM_SIZE(type);
    for (int i = dims - 1; steps && i >= 0; --i) {
        steps[i] = step;
        step *= static_cast<std::size_t>(sizes[i]);
    }
    return plane.release();
}

bool PlaneAllocator::allocate(cv::UMatData* plane, cv::AccessFlag, cv::UMatUsageFlags) const {
    return plane != nullptr;
}

void PlaneAllocator::deallocate(cv::UMatData* plane) const {
    const Block block{plane->origdata, inUnits(plane->size)};
    if (!keep(block)) giveBack(block.data, block.bytes);
    delete plane;
}

uchar* PlaneAllocator::kept(std::size_t bytes) const {
    const std::lock_guard lock(m_mutex);
    const auto found = std::find_if(m_kept.rbegin(), m_kept.rend(), [&](const Block& b) { return b.bytes == bytes; });
    if (found == m_kept.rend()) return nullptr;
    uchar* data = found->data;
    m_kept.erase(std::next(found).base());
    m_keptBytes -= bytes;
    return data;
}

bool PlaneAllocator::keep(const Block& block) const {
    if (block.bytes >= kLarge) return false;
    std::unique_lock lock(m_mutex);
    while (m_keptBytes + block.bytes > kMostKept) {  // of sizes that nobody may want any more
        const Block oldest = m_kept.front();
        m_kept.erase(m_kept.begin());
        m_keptBytes -= oldest.bytes;
        lock.unlock();
        giveBack(oldest.data, oldest.bytes);
        lock.lock();
    }
    m_kept.push_back(block);
    m_keptBytes += block.bytes;
    return true;
}

}  // namespace kestrova::studio
