#include "photo/placement.h"

#include <gtest/gtest.h>

#include "photo/development.h"
#include "photo/error.h"
#include "tests/photo/pictures.h"

namespace kestrova::photo {
namespace {

std::vector<Settings> waysToPlace() {
    std::vector<Settings> all;
    for (int rotate : {0, 90, 180, 270})
        for (double straighten : {0.0, 7.5, -31.0})
            for (int size : {0, 60}) {
                Settings settings;
                settings.rotate = rotate;
                settings.straighten = straighten;
                settings.crop = {0.1, 0.2, 0.6, 0.7};
                settings.size = size;
                all.push_back(settings);
            }
    return all;
}

TEST(Placement, HasTheSizeOfTheRendering) {
    const cv::Mat pixels = scene({200, 120});
    for (const Settings& settings : waysToPlace())
        EXPECT_EQ(Placement({200, 120}, settings).size(), rendered16(pixels, settings).size());
}

TEST(Placement, LeadsToThePhotographAndBack) {
    for (const Settings& settings : waysToPlace()) {
        const Placement placement({200, 120}, settings);
        for (const cv::Point2d p : {cv::Point2d(0, 0), cv::Point2d(11.5, 23.25), cv::Point2d(-4, 70)}) {
            const cv::Point2d back = placement.renderingOf(placement.photographOf(p));
            EXPECT_NEAR(back.x, p.x, 1e-9);
            EXPECT_NEAR(back.y, p.y, 1e-9);
        }
    }
}

TEST(Placement, FindsAMarkWhereTheRenderingShowsIt) {
    cv::Mat pixels(120, 200, CV_16UC4, cv::Scalar(0, 0, 0, 65535));
    pixels(cv::Rect(96, 56, 8, 8)).setTo(cv::Scalar::all(65535));
    for (Settings settings : waysToPlace()) {
        settings.crop = {0.2, 0.2, 0.7, 0.7};
        const cv::Mat out = rendered16(pixels, settings);
        const cv::Point2d at = Placement({200, 120}, settings).renderingOf({0.5, 0.5});
        const cv::Point pixel(static_cast<int>(at.x), static_cast<int>(at.y));
        ASSERT_TRUE(cv::Rect(cv::Point(), out.size()).contains(pixel));
        EXPECT_GT(out.at<cv::Vec4w>(pixel)[1], 50000) << settings.toJson();
    }
}

TEST(Placement, RefusesAPhotographWithoutPixels) { EXPECT_THROW(Placement({}, Settings()), Error); }

}  // namespace
}  // namespace kestrova::photo
