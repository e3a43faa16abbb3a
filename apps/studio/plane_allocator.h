#pragma once

#include <cstddef>
#include <mutex>
#include <opencv2/core.hpp>
#include <vector>

namespace kestrova::studio {

/// Maps the planes of OpenCV from 1 MiB on by itself, large ones in huge pages where the system has them: no lock of
/// the C library is held while the system maps pages or takes them back, and large blocks go back piece by piece, so
/// that threads which want memory meanwhile do not wait for the whole. Those below 12 MiB, which come and go all the
/// time, are kept for the next one, up to a bound. A default allocator has to outlive every plane.
class PlaneAllocator : public cv::MatAllocator {
public:
    static constexpr std::size_t kLeast = std::size_t{1} << 20;      ///< below, the standard allocator serves
    static constexpr std::size_t kLarge = std::size_t{12} << 20;     ///< from here on blocks are not kept
    static constexpr std::size_t kMostKept = std::size_t{32} << 20;  ///< bytes of blocks that wait for the next plane

    PlaneAllocator();
    ~PlaneAllocator() override;

    cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, std::size_t* steps, cv::AccessFlag access,
                           cv::UMatUsageFlags usage) const override;
    bool allocate(cv::UMatData* plane, cv::AccessFlag access, cv::UMatUsageFlags usage) const override;
    void deallocate(cv::UMatData* plane) const override;

private:
    struct Block {
        uchar* data;
        std::size_t bytes;
    };
    uchar* kept(std::size_t bytes) const;
    bool keep(const Block& block) const;

    mutable std::mutex m_mutex;
    mutable std::vector<Block> m_kept;  ///< the latest last
    mutable std::size_t m_keptBytes = 0;
};

}  // namespace kestrova::studio
