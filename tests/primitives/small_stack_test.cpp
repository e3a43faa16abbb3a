#include "tests/support/small_stack.h"

#include "kestrova/primitives/primitives.h"
#include "tests/primitives/region.h"
#include "tests/primitives/sparse_phases.h"

namespace {

TEST(SmallStackTest, NeighbourhoodFiltersFit) {
    cv::Mat words = randomPlane(100, 5000, CV_16UC1), floats = randomPlane(100, 5000, CV_32FC1, 0, 1);
    const std::vector<uchar> mask(81, 1);
    onSmallStack([&] {
        const IppiSize size{4900, 20};
        ippiFilterBox_16u_C1IR(words.ptr<ushort>(40) + 50, stepOf(words), size, {81, 71}, {40, 35});
        ippiFilterBox_32f_C1IR(floats.ptr<float>(40) + 50, stepOf(floats), size, {81, 71}, {40, 35});
        ippiErode3x3_16u_C1IR(words.ptr<ushort>(40) + 50, stepOf(words), size);
        cv::Mat dst(20, 4900, CV_16UC1), means(20, 4900, CV_32FC1);
        ippiDilate_16u_C1R(words.ptr<ushort>(40) + 50, stepOf(words), dst.ptr<ushort>(), stepOf(dst), size, mask.data(),
                           {9, 9}, {4, 4});
        ippiFilterGauss_32f_C1R(floats.ptr<float>(40) + 50, stepOf(floats), means.ptr<float>(), stepOf(means), size,
                                ippMskSize5x5);
    });
}

TEST(SmallStackTest, TheSparseSolverFits) {
    const SparseSystem grid = gridSystem(60, 50, 0.5f, 2.0f, 3);
    std::vector<float> b = randomVector(grid.n, 5);
    int error = kRefused;
    Phases phases;
    onSmallStack([&] {
        if (phases.analyse(grid) == kDone && phases.factorise(grid) == kDone) error = phases.solve(grid, b);
    });
    EXPECT_EQ(error, kDone);
}

}  // namespace
