#include "kestrova/filters/local_laplacian_stages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <opencv2/imgproc.hpp>
#include <utility>
#include <vector>

#include "tests/filters/local_laplacian_reference.h"
#include "tests/support/planes.h"
#include "tests/support/rooms.h"
#include "tests/support/threads.h"

namespace {

/// The pixels of a plane of K channels.
template <int K, class Plane>
cv::Mat pixelsOf(const Plane& plane) {
    cv::Mat pixels(plane.rows, plane.cols, CV_16UC(K));
    for (int y = 0; y < plane.rows; ++y) {
        for (int x = 0; x < plane.cols; ++x) std::copy_n(plane.row(y)(x), K, pixels.ptr<ushort>(y) + x * K);
    }
    return pixels;
}

template <class References>
void expectReduction(cv::Size size) {
    constexpr int K = References::kCount;
    const std::vector<ushort> remap = expectedRemap(-0.3f, 0.1f);
    const RemappedPlane<K> finest = remapped<References>(randomPlane(size.height, size.width, CV_16UC1), remap.data());
    cv::Mat expected = pixelsOf<K>(finest);
    StoredPlane<K> plane((size.height + 1) / 2, (size.width + 1) / 2);
    const ReductionScratch<K> scratch;
    reduceRows(finest, plane, 0, plane.rows / 2, scratch);
    reduceRows(finest, plane, plane.rows / 2, plane.rows, scratch);
    for (int level = 1; level < 4; ++level) {
        cv::pyrDown(expected, expected);
        ASSERT_TRUE(samePixels(expected, pixelsOf<K>(plane))) << K << " channels, " << size << ", level " << level;
        StoredPlane<K> coarser((plane.rows + 1) / 2, (plane.cols + 1) / 2);
        reduce(plane, coarser);
        plane = std::move(coarser);
    }
}

}  // namespace

TEST(LocalLaplacianStages, ReductionEqualsThatOfWholePlanes) {
    for (cv::Size size : testSizes()) {
        expectReduction<TenReferences>(size);
        expectReduction<SixteenReferences>(size);
        expectReduction<TwentyFourReferences>(size);
    }
}

TEST(LocalLaplacianStages, ReductionEqualsThatOfWholePlanesAcrossTiles) {
    for (cv::Size size : {cv::Size(2457, 5), {4913, 5}, {9824, 3}, {9825, 3}}) {
        expectReduction<TenReferences>(size);
        expectReduction<SixteenReferences>(size);
        expectReduction<TwentyFourReferences>(size);
    }
}
