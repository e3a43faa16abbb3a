#include "kestrova/image/timage.h"

#include <gtest/gtest.h>

#include "tests/memory/refusal.h"
#include "tests/support/planes.h"

namespace {

TEST(TImageMemory, APlaneThatGotMemoryKeepsItsRowsWhereTheOtherGotNone) {
    const cv::Mat pixels = randomPlane(7, 9, CV_8UC1);
    int lacking = 0;
    for (int n = 0;; ++n) {
        bool happened = false;
        TImage image(TImage::IM_C8U, TSize());
        {
            const Refusal refusal(n, Refusal::kOne);
            image.resize(TSize(9, 7));
            happened = Refusal::happened();
        }
        for (int plane : {0, 1}) {
            if (!image.dataPtr(0, 0, plane)) {
                ++lacking;
                continue;
            }
            image.fromMat(pixels, plane);
            EXPECT_TRUE(samePixels(pixels, image.toMat(plane))) << "plane " << plane << ", allocation " << n;
        }
        if (!happened) break;
    }
    EXPECT_GE(lacking, 2);
}

}  // namespace
