#include "studio/widgets/screen_profile.h"

#include <gtest/gtest.h>

#include <QtGlobal>

#include "studio/widgets/pixels.h"
#include "tests/photo/files.h"

namespace kestrova::studio {
namespace {

using photo::Profile;

class ScreenProfileTest : public testing::Test {
protected:
    ~ScreenProfileTest() override { qunsetenv("KESTROVA_SCREEN_PROFILE"); }

    QString store(const std::string& name, const Profile& profile) {
        photo::writeBytes(scratch / name, profile.bytes());
        return fileName(scratch / name);
    }

    photo::Scratch scratch;
};

TEST_F(ScreenProfileTest, IsSrgbWithoutAFile) {
    const ScreenProfile found = ScreenProfile::find({});
    EXPECT_EQ(found.profile, Profile::srgb());
    EXPECT_TRUE(found.origin.startsWith("sRGB"));
    EXPECT_EQ(found.problem, "");
}

TEST_F(ScreenProfileTest, ComesFromTheEnvironmentAndFirstFromTheSettings) {
    qputenv("KESTROVA_SCREEN_PROFILE", store("p3.icc", Profile::displayP3()).toUtf8());
    EXPECT_EQ(ScreenProfile::find({}).profile, Profile::displayP3());
    EXPECT_TRUE(ScreenProfile::find({}).origin.contains("KESTROVA_SCREEN_PROFILE"));
    const ScreenProfile chosen = ScreenProfile::find(store("adobe.icc", Profile::adobeRgb()));
    EXPECT_EQ(chosen.profile, Profile::adobeRgb());
    EXPECT_TRUE(chosen.origin.contains("settings"));
}

TEST_F(ScreenProfileTest, AFileThatCannotBeUsedIsReportedAndTheNextOneTaken) {
    photo::writeBytes(scratch / "bad.icc", {1, 2, 3});
    qputenv("KESTROVA_SCREEN_PROFILE", store("p3.icc", Profile::displayP3()).toUtf8());
    for (const char* name : {"bad.icc", "missing.icc"}) {
        const ScreenProfile found = ScreenProfile::find(fileName(scratch / name));
        EXPECT_EQ(found.profile, Profile::displayP3());
        EXPECT_TRUE(found.problem.contains(name)) << found.problem.toStdString();
    }
    qputenv("KESTROVA_SCREEN_PROFILE", "/missing.icc");
    const ScreenProfile found = ScreenProfile::find({});
    EXPECT_EQ(found.profile, Profile::srgb());
    EXPECT_NE(found.problem, "");
}

TEST(ScreenTransform, SharesPixelsThatAreTheScreensAlready) {
    const cv::Mat pixels(20, 30, CV_8UC4, cv::Scalar(1, 2, 3, 255));
    const QImage image = ScreenTransform(Profile::srgb(), Profile::srgb()).apply(pixels, 1);
    EXPECT_EQ(image.constBits(), pixels.data);
    EXPECT_EQ(image.pixel(5, 5), qRgb(3, 2, 1));
}

TEST(ScreenTransform, AnImageOutlivesItsPixelsAndNeverWritesToThem) {
    cv::Mat pixels(20, 30, CV_8UC4, cv::Scalar(1, 2, 3, 255));
    QImage image = toImage(pixels(cv::Rect(4, 4, 10, 10)));
    image.setPixel(0, 0, qRgb(9, 9, 9));
    EXPECT_EQ(pixels.at<cv::Vec4b>(4, 4), cv::Vec4b(1, 2, 3, 255));
    const QImage other = toImage(pixels);
    pixels.release();
    EXPECT_EQ(other.pixel(29, 19), qRgb(3, 2, 1));
}

TEST(ScreenTransform, ConvertsPixelsOf8And16Bits) {
    const cv::Mat deep = photo::colourful(40, 30, 8).pixels;
    cv::Mat flat, expected;
    deep.convertTo(flat, CV_8U, 1 / 257.0);
    photo::ColourTransform(Profile::adobeRgb(), Profile::displayP3()).applyTo8(deep, expected, 1);
    const ScreenTransform transform(Profile::adobeRgb(), Profile::displayP3());
    EXPECT_EQ(transform.apply(deep, 1), toImage(expected));
    EXPECT_EQ(transform.apply(flat, 2), toImage(expected));
    EXPECT_NE(toImage(flat), toImage(expected));
}

}  // namespace
}  // namespace kestrova::studio
