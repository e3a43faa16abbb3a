#include "kestrova/rows/linear_rows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/support/planes.h"
#include "tests/support/rooms.h"

namespace {

template <int factor, LinearGrid grid>
void expectLinear(int sumBits) {
    for (int gaps : {0, 1, 2, 7, 64, 301}) {
        const cv::Mat old = randomPlane(1, gaps + 1, CV_16UC1, 0, 1 << (8 + sumBits));
        std::vector<uchar> out(factor * gaps + 1, 200);
        enlargeLinearly<factor, grid>([&](std::ptrdiff_t x) { return old.at<ushort>(0, static_cast<int>(x)); }, sumBits,
                                      gaps, out.data());
        for (int i = 0; i < factor * gaps; ++i) {
            const int x = i / factor, k = i % factor;
            const double way = grid == LinearGrid::kCentred ? (k + 0.5) / factor : 1.0 * k / factor;
            const double sum = old.at<ushort>(0, x) * (1 - way) + old.at<ushort>(0, x + 1) * way;
            const int expected = static_cast<int>(std::floor(std::ldexp(sum, -sumBits) + 0.5)) & 255;
            ASSERT_EQ(out[i], expected) << factor << " times, pixel " << i << ", " << sumBits << " bits";
        }
        EXPECT_EQ(out.back(), 200);
    }
}

template <int factor>
void expectLinear() {
    for (int sumBits : {0, 1, 2, 5}) {
        expectLinear<factor, LinearGrid::kAligned>(sumBits);
        expectLinear<factor, LinearGrid::kCentred>(sumBits);
    }
}

TEST(LinearRowsTest, NewPixelsLieOnTheStraightLinesBetweenTheOldOnes) {
    expectLinear<1>();
    expectLinear<2>();
    expectLinear<4>();
    expectLinear<16>();
}

}  // namespace
