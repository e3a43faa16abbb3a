#pragma once

#include <opencv2/core.hpp>

#include <cstddef>
#include <memory>

namespace kestrova::filters {

// The stages of the local Laplacian filter. Internal.
//
// A pixel of the remapped pyramid has K channels, one for each reference, stored side by side. The remapped picture
// itself is never formed: a pixel of it depends on the picture's value alone, and is an entry of a table. The next
// level is made in bands of rows, of which only what is chosen is kept; levels from 2 on are stored.

/// K references g_k = k * kStep.
struct TenReferences {
    static constexpr int kCount = 10, kStep = 6553;
    static constexpr float kPerStep = 0.00015260186f;
};
struct SixteenReferences {
    static constexpr int kCount = 16, kStep = 4095;
    static constexpr float kPerStep = 0.00024420026f;
};
struct TwentyFourReferences {
    static constexpr int kCount = 24, kStep = 2730;
    static constexpr float kPerStep = 0.00036630037f;
};

constexpr int kLaplacianZero = 32767;

/// Kernels load whole vectors of channels, beyond the K channels of a pixel; every block of pixels has room for that.
template <int K>
constexpr int kPaddedChannels = (K + 7) / 8 * 8;

/// A row of a stored plane: the address of a pixel's channels.
template <int K>
struct StoredRow {
    const ushort* pixels;
    const ushort* operator()(std::ptrdiff_t x) const { return pixels + x * K; }
};

/// A row of the remapped picture.
template <int K>
struct RemappedRow {
    const ushort* values;
    const ushort* table;
    const ushort* operator()(std::ptrdiff_t x) const {
        return table + static_cast<std::ptrdiff_t>(values[x]) * kPaddedChannels<K>;
    }
};

/// A plane of K channels, rows without gaps, or a band of its rows.
template <int K>
struct StoredPlane {
    StoredPlane() = default;
    StoredPlane(int rows, int cols, int bandRows)
        : rows(rows),
          cols(cols),
          pixels(new ushort[std::size_t(bandRows) * std::size_t(cols) * K + kPaddedChannels<K>]) {}
    StoredPlane(int rows, int cols) : StoredPlane(rows, cols, rows) {}

    StoredRow<K> row(int y) const { return {at(y)}; }
    ushort* at(int y) const { return pixels.get() + static_cast<std::ptrdiff_t>(y - first) * cols * K; }

    int rows = 0, cols = 0;  ///< of the whole plane
    int first = 0;           ///< the row that the band begins at
    std::unique_ptr<ushort[]> pixels;
};

/// The remapped picture of `picture`, `CV_16UC1`.
template <int K>
struct RemappedPlane {
    RemappedRow<K> row(int y) const { return {picture.ptr<ushort>(y), table.get()}; }

    cv::Mat picture;
    int rows, cols;
    std::shared_ptr<const ushort[]> table;  ///< 65536 entries of `kPaddedChannels<K>` channels
};

/// The remapped picture by the table of offsets `remap`: channel k of a pixel Y is
/// clamp(Y + 2 * remap[round((Y - k * kStep) / 2) + 32768] - 65536), ties to even and all indices within the table.
template <class References>
RemappedPlane<References::kCount> remapped(const cv::Mat& picture, const ushort* remap);

/// What a thread that reduces works with: sums along five rows of a tile.
template <int K>
struct ReductionScratch {
    static constexpr int kCols = 12288 / K;  ///< columns of a tile: its sums stay in the second-level cache

    struct Sums {
        alignas(64) int rows[5][kCols * K + kPaddedChannels<K>];
    };
    std::unique_ptr<Sums> sums{new Sums};
};

/// Rows [first, end) of the next coarser level, the same bits as `cv::pyrDown`.
template <int K>
void reduceRows(const RemappedPlane<K>& plane, const StoredPlane<K>& coarser, int first, int end,
                const ReductionScratch<K>& scratch) noexcept;
template <int K>
void reduceRows(const StoredPlane<K>& plane, const StoredPlane<K>& coarser, int first, int end,
                const ReductionScratch<K>& scratch) noexcept;

/// All of its rows.
template <int K>
void reduce(const StoredPlane<K>& plane, const StoredPlane<K>& coarser);

/// What is chosen at a Gaussian value: the channels `index` and `index` + 1, and the part of the latter.
struct Choice {
    int index;
    float part;
};
template <class References>
Choice choiceAt(int g) {
    const float t = static_cast<float>(g) * References::kPerStep;
    const int lower = static_cast<int>(t) < References::kCount - 2 ? static_cast<int>(t) : References::kCount - 2;
    return {lower, t - static_cast<float>(lower)};
}

/// The values in the channels of a choice, interpolated and truncated. Extrapolated values are cut to their low 16
/// bits; this is intentional.
inline ushort interpolated(int low, int high, float part) {
    return static_cast<ushort>(
        static_cast<int>((1.0f - part) * static_cast<float>(low) + part * static_cast<float>(high)));
}

/// The channels chosen at each pixel of a plane, two side by side.
struct PairPlane {
    struct Row {
        const ushort* pairs;
    };
    Row row(int y) const { return {at(y)}; }
    ushort* at(int y) const { return pixels.get() + static_cast<std::ptrdiff_t>(y) * cols * 2; }

    int cols = 0;
    std::unique_ptr<ushort[]> pixels;
};

/// From the remapped picture alone, whose next level is made band by band: the finest coefficients of the output, what
/// is chosen from the next level by `half`, the Gaussian level 1, and, unless `quarter` has no rows, remapped level 2.
template <class References>
void finestLevels(const RemappedPlane<References::kCount>& remapped, const cv::Mat& half, cv::Mat& coefficients,
                  const PairPlane& chosen, const StoredPlane<References::kCount>& quarter);

/// The coefficients of the output at a level: remapped values less enlarged coarser ones (as `cv::pyrUp` enlarges),
/// chosen and interpolated by the Gaussian level `g`. `Plane` is a `StoredPlane` or a `PairPlane`.
template <class References, class Plane>
void coefficients(const cv::Mat& g, const Plane& remapped, const StoredPlane<References::kCount>& coarser,
                  cv::Mat& out);

/// The same at the coarsest level, where the remapped values themselves are the coefficients.
template <class References, class Plane>
void coarsestCoefficients(const cv::Mat& g, const Plane& remapped, cv::Mat& out);

/// A level of the output in place of its coefficients: these on top of the enlarged coarser level of the output.
void addEnlarged(const cv::Mat& coarserResult, cv::Mat& inOut);

}  // namespace kestrova::filters
