#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "kestrova/detail/domain_transform.h"
#include "kestrova/detail/tcoloradjvl.h"
#include "kestrova/detail/tvelline.h"
#include "kestrova/filters/guided_upsize.h"
#include "kestrova/frame/kestrova.h"
#include "tests/support/printed.h"
#include "tests/support/threads.h"

namespace {

void renderRectangle() {
    const cv::Mat plane(8, 8, CV_16UC1, cv::Scalar(32768));
    TVelline engine;
    engine.setup(plane, nullptr);
    for (cv::Mat* like : {&engine.m_Y, &engine.m_DS, &engine.m_DM, &engine.m_DL}) plane.copyTo(*like);
    engine.proc(cv::Rect(0, 0, 8, 8), 1, cv::Mat());
}

void adjustColour() {
    const cv::Mat plane(8, 8, CV_16UC1, cv::Scalar(32768));
    cv::Mat dr, db;
    TColorAdjVL().proc(plane, plane, plane, plane, dr, db);
}

void enlargeByColours() {
    std::vector<cv::Mat> guide(3, cv::Mat(8, 8, CV_16UC1, cv::Scalar(32768)));
    const cv::Mat low(4, 4, CV_16UC1, cv::Scalar(32768));
    cv::Mat out(8, 8, CV_16UC1);
    upSizeNXGuidedByRGB(guide, low, out, 2, true, 4, 1, 0.01f);
}

void buildDomainTransform() {
    const KeepThreadSettings keep;
    DomainTransformFilter(8, 100);
}

class Printing : public testing::TestWithParam<void (*)()> {
protected:
    void TearDown() override { Kestrova::setPrinting(true); }
};

TEST_P(Printing, IsOnUntilSwitchedOff) {
    EXPECT_TRUE(Kestrova::printing());
    EXPECT_NE(printed(GetParam()), "");
}

TEST_P(Printing, IsSilentWhenSwitchedOffAndComesBack) {
    Kestrova::setPrinting(false);
    EXPECT_FALSE(Kestrova::printing());
    EXPECT_EQ(printed(GetParam()), "");
    Kestrova::setPrinting(true);
    EXPECT_NE(printed(GetParam()), "");
}

TEST_P(Printing, OfOtherThreadsIsTheirOwn) {
    Kestrova::setPrinting(false);
    EXPECT_NE(printed([] { std::thread(GetParam()).join(); }), "");
    Kestrova::setPrinting(true);
    std::thread([] { Kestrova::setPrinting(false); }).join();
    EXPECT_NE(printed(GetParam()), "");
}

INSTANTIATE_TEST_SUITE_P(Operations, Printing,
                         testing::Values(renderRectangle, adjustColour, enlargeByColours, buildDomainTransform));

}  // namespace
