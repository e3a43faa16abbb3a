#include <gtest/gtest.h>

#include <exiv2/exiv2.hpp>

#include "photo/profile_data.h"
#include "photo/read.h"
#include "photo/write.h"
#include "tests/photo/dng.h"
#include "tests/photo/files.h"

namespace kestrova::photo {
namespace {

/// A JPEG whose upper left quarter is red and whose rest is `rest` (B, G, R).
std::vector<unsigned char> quartered(cv::Size size, const cv::Scalar& rest, const Profile* profile = nullptr) {
    const Scratch scratch;
    Photograph photograph;
    photograph.pixels = cv::Mat(size, CV_16UC4, cv::Scalar(rest[0], rest[1], rest[2], 65535));
    photograph.pixels(cv::Rect(0, 0, size.width / 2, size.height / 2)).setTo(cv::Scalar(0, 0, 60000, 65535));
    if (profile) photograph.profile = photograph.outputProfile = *profile;
    writePhotograph(photograph, scratch / "a.jpg");
    if (!profile) {
        const auto image = Exiv2::ImageFactory::open(scratch / "a.jpg");
        image->readMetadata();
        image->clearIccProfile();
        image->writeMetadata();
    }
    return bytesOf(scratch / "a.jpg");
}

const cv::Scalar kBlue(60000, 0, 0), kGreen(0, 60000, 0);

/// A blue photograph whose embedded preview is green, so that it shows which was read.
void writeWithPreview(const std::string& path, cv::Size size, const std::vector<unsigned char>& preview,
                      int orientation = 1, const Profile* profile = nullptr) {
    writeBytes(path, quartered(size, kBlue, profile));
    const auto image = Exiv2::ImageFactory::open(path);
    image->readMetadata();
    image->exifData()["Exif.Image.Orientation"] = static_cast<std::uint16_t>(orientation);
    Exiv2::ExifThumb(image->exifData()).setJpegThumbnail(preview.data(), static_cast<long>(preview.size()));
    image->writeMetadata();
}

enum class Shown { photograph, preview };
Shown shown(const Photograph& photograph) {
    const cv::Scalar mean = cv::mean(photograph.pixels);
    return mean[0] > mean[1] ? Shown::photograph : Shown::preview;
}

TEST(Previews, OfTheCameraAreTakenWhereTheyAreLargeEnough) {
    const Scratch scratch;
    writeWithPreview(scratch / "a.jpg", {900, 600}, quartered({160, 107}, kGreen));
    const Photograph small = readPreview(scratch / "a.jpg", 100);
    EXPECT_EQ(shown(small), Shown::preview);
    EXPECT_EQ(small.pixels.size(), cv::Size(160, 107));
    EXPECT_EQ(small.profile, Profile::srgb());
    ASSERT_TRUE(small.metadata);
    const Photograph tiny = readPreview(scratch / "a.jpg", 30);
    EXPECT_EQ(shown(tiny), Shown::preview);
    EXPECT_GE(tiny.pixels.cols, 30);
    EXPECT_LT(tiny.pixels.cols, 60);
    EXPECT_EQ(shown(readPreview(scratch / "a.jpg", 161)), Shown::photograph);
    EXPECT_EQ(shown(readPhotograph(scratch / "a.jpg")), Shown::photograph);
}

TEST(Previews, OfAnotherShapeAreLeftAside) {
    const Scratch scratch;
    for (const cv::Size size : {cv::Size(160, 120), cv::Size(107, 160), cv::Size(160, 100)}) {
        writeWithPreview(scratch / "a.jpg", {900, 600}, quartered(size, kGreen));
        EXPECT_EQ(shown(readPreview(scratch / "a.jpg", 100)), Shown::photograph) << size;
    }
}

TEST(Previews, ThatAreDamagedAreLeftAside) {
    const Scratch scratch;
    std::vector<unsigned char> half = quartered({160, 107}, kGreen);
    half.resize(half.size() / 2);
    writeWithPreview(scratch / "a.jpg", {900, 600}, half);
    EXPECT_EQ(shown(readPreview(scratch / "a.jpg", 100)), Shown::photograph);
    writeWithPreview(scratch / "a.jpg", {900, 600}, {0xff, 0xd8, 0xff, 0xd9});
    EXPECT_EQ(shown(readPreview(scratch / "a.jpg", 100)), Shown::photograph);
}

TEST(Previews, AreTurnedLikeTheirPhotograph) {
    const Scratch scratch;
    for (int orientation = 1; orientation <= 8; ++orientation) {
        writeWithPreview(scratch / "a.jpg", {900, 600}, quartered({160, 107}, kGreen), orientation);
        const Photograph preview = readPreview(scratch / "a.jpg", 100), whole = readPhotograph(scratch / "a.jpg");
        EXPECT_EQ(shown(preview), Shown::preview);
        EXPECT_EQ(preview.pixels.cols > preview.pixels.rows, whole.pixels.cols > whole.pixels.rows);
        for (const double x : {0.2, 0.8})
            for (const double y : {0.2, 0.8}) {
                const auto isRed = [&](const cv::Mat& pixels) {
                    return pixels.at<cv::Vec4w>(static_cast<int>(y * pixels.rows),
                                                static_cast<int>(x * pixels.cols))[2] > 30000;
                };
                EXPECT_EQ(isRed(preview.pixels), isRed(whole.pixels)) << orientation << ": " << x << ", " << y;
            }
    }
}

TEST(Previews, WithoutAProfileStandForSrgbAlone) {
    const Scratch scratch;
    const Profile p3 = Profile::displayP3();
    writeWithPreview(scratch / "a.jpg", {900, 600}, quartered({160, 107}, kGreen), 1, &p3);
    EXPECT_EQ(shown(readPreview(scratch / "a.jpg", 100)), Shown::photograph);
    writeWithPreview(scratch / "a.jpg", {900, 600}, quartered({160, 107}, kGreen, &p3), 1, &p3);
    const Photograph preview = readPreview(scratch / "a.jpg", 100);
    EXPECT_EQ(shown(preview), Shown::preview);
    EXPECT_EQ(preview.profile, p3);
}

TEST(Previews, OfRawFilesAreTheCameras) {
    const Scratch scratch;
    const std::string path = scratch / "a.dng";
    for (const bool adobe : {false, true}) {
        makeDng(path, 6);
        const auto image = Exiv2::ImageFactory::open(path);
        image->readMetadata();
        const std::vector<unsigned char> preview = quartered({128, 96}, kGreen);
        Exiv2::ExifThumb(image->exifData()).setJpegThumbnail(preview.data(), static_cast<long>(preview.size()));
        image->exifData()["Exif.Photo.ColorSpace"] = static_cast<std::uint16_t>(adobe ? 2 : 1);
        image->writeMetadata();
        const Photograph read = readPreview(path, 100);
        EXPECT_EQ(shown(read), Shown::preview);
        EXPECT_EQ(read.pixels.size(), cv::Size(96, 128)) << "upright";
        EXPECT_GT(read.pixels.at<cv::Vec4w>(20, 80)[2], 30000) << "its upper left quarter is now the upper right one";
        EXPECT_EQ(read.profile, adobe ? Profile::adobeRgb() : Profile::srgb());
        EXPECT_EQ(read.outputProfile, Profile::displayP3());
        const cv::Scalar grey = cv::mean(readPhotograph(path).pixels);
        EXPECT_NEAR(grey[0], grey[1], 0.1 * grey[1]) << "what the sensor saw";
    }
}

}  // namespace
}  // namespace kestrova::photo
