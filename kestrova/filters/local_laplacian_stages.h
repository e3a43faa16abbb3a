#pragma once

#include <opencv2/core.hpp>

#include <cstddef>
#include <memory>

/// The stages of the local Laplacian filter. Internal.
///
/// A pixel of the remapped pyramid has K channels, one for each reference, stored side by side. The remapped picture
/// itself is never formed: a pixel of it depends on the picture's value alone, and is an entry of a table.

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

/// Kernels load pixels in whole lanes, beyond the K channels of a pixel; every block of pixels has room for that.
template <int K>
constexpr int kLanes = (K + 7) / 8 * 8;

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
        return table + static_cast<std::ptrdiff_t>(values[x]) * kLanes<K>;
    }
};

/// A plane of K channels, rows without gaps.
template <int K>
struct StoredPlane {
    StoredPlane() = default;
    StoredPlane(int rows, int cols)
        : rows(rows), cols(cols), pixels(new ushort[std::size_t(rows) * std::size_t(cols) * K + kLanes<K>]) {}

    StoredRow<K> row(int y) const { return {at(y)}; }
    ushort* at(int y) const { return pixels.get() + static_cast<std::ptrdiff_t>(y) * cols * K; }

    int rows = 0, cols = 0;
    std::unique_ptr<ushort[]> pixels;
};

/// The remapped picture of `picture`, `CV_16UC1`.
template <int K>
struct RemappedPlane {
    RemappedRow<K> row(int y) const { return {picture.ptr<ushort>(y), table.get()}; }

    cv::Mat picture;
    int rows, cols;
    std::shared_ptr<const ushort[]> table;  ///< 65536 entries of `kLanes<K>` channels
};

/// The remapped picture by the table of offsets `remap`: channel k of a pixel Y is
/// clamp(Y + 2 * remap[round((Y - k * kStep) / 2) + 32768] - 65536), ties to even and all indices within the table.
template <class References>
RemappedPlane<References::kCount> remapped(const cv::Mat& picture, const ushort* remap);

/// The next coarser level, the same bits as `cv::pyrDown`.
template <int K>
StoredPlane<K> reduced(const RemappedPlane<K>& plane);
template <int K>
StoredPlane<K> reduced(const StoredPlane<K>& plane);

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
/// bits; this is meant.
inline ushort interpolated(int low, int high, float part) {
    return static_cast<ushort>(
        static_cast<int>((1.0f - part) * static_cast<float>(low) + part * static_cast<float>(high)));
}

/// The coarsest level of the output: the remapped values chosen by the Gaussian level `g`. `result` has its size.
template <class References, class Plane>
void collapseTop(const cv::Mat& g, const Plane& remapped, cv::Mat& result);

/// A finer level of the output: the chosen Laplacian coefficients, remapped less coarser remapped, on top of the
/// coarser level of the output. `result` has the size of `g`, and may be `g`. Enlarges as `cv::pyrUp` does.
template <class References, class Plane>
void collapseLevel(const cv::Mat& g, const Plane& remapped, const StoredPlane<References::kCount>& coarser,
                   const cv::Mat& coarserResult, cv::Mat& result);
