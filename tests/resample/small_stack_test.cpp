#include "tests/support/small_stack.h"

#include "kestrova/filters/free_filters.h"
#include "kestrova/filters/guided_upsize.h"
#include "kestrova/image/timage.h"
#include "kestrova/resample/chroma_upsize.h"
#include "kestrova/resample/resample.h"
#include "tests/support/planes.h"

namespace {

TEST(SmallStackTest, ResamplingFits) {
    for (int type : {CV_8UC1, CV_16UC1, CV_32FC1}) {
        const cv::Mat in = randomPlane(40, 5000, type);
        for (int interp : {1, 2, 4, kPyramidStep}) {
            cv::Mat half(20, 2500, type), twice(80, 10000, type), third(14, 1667, type), triple(120, 15000, type);
            onSmallStack([&] {
                downSize2X(in, half, interp);
                upSize2X(in, twice, interp);
                downSizeNX(in, third, 3, interp);
                upSizeNX(in, triple, 3, interp);
            });
        }
    }
}

TEST(SmallStackTest, GuidedUpsizingFits) {
    const cv::Mat guide = randomPlane(40, 5000, CV_16UC1), low = randomPlane(20, 2500, CV_16UC1, 2);
    cv::Mat simple, guided;
    onSmallStack([&] {
        upSize2XGuidedByYSimple(guide, low, simple);
        upSize2XGuidedByY(guide, low, guided, true, kInterpCubic, 3, 1e-4f);
    });
    EXPECT_EQ(simple.size(), guide.size());
    EXPECT_EQ(guided.size(), guide.size());
}

TEST(SmallStackTest, FreeFiltersFit) {
    const cv::Mat in = randomPlane(40, 5000, CV_16UC1), alpha = randomPlane(40, 5000, CV_8UC1);
    TImage image(TImage::IM_Y16U, TSize(5000, 40)), blurred = image;
    image.fromMat(in, 0);
    cv::Mat mix, sharp;
    onSmallStack([&] {
        blendAlpha(in, in, alpha, mix, 1);
        extremeSharpen(in, sharp);
        tFilterBox(&image, &blurred, 20, 2, nullptr);
        tFilterBox(&image, &blurred, 60, 1, nullptr);
    });
    EXPECT_EQ(sharp.size(), in.size());
}

}  // namespace
