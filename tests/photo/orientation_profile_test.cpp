#include <gtest/gtest.h>
#include <lcms2.h>

#include <exiv2/exiv2.hpp>

#include "photo/metadata.h"
#include "photo/read.h"
#include "photo/write.h"
#include "tests/photo/files.h"

namespace kestrova::photo {
namespace {

// Where the pixel of the upright picture's row r, column c is in the stored one, as EXIF's table has it.
cv::Vec4w storedAt(const cv::Mat& stored, int orientation, int r, int c) {
    const int bottom = stored.rows - 1, right = stored.cols - 1;
    switch (orientation) {
        case 2: return stored.at<cv::Vec4w>(r, right - c);
        case 3: return stored.at<cv::Vec4w>(bottom - r, right - c);
        case 4: return stored.at<cv::Vec4w>(bottom - r, c);
        case 5: return stored.at<cv::Vec4w>(c, r);
        case 6: return stored.at<cv::Vec4w>(bottom - c, r);
        case 7: return stored.at<cv::Vec4w>(bottom - c, right - r);
        case 8: return stored.at<cv::Vec4w>(c, right - r);
        default: return stored.at<cv::Vec4w>(r, c);
    }
}

void setOrientation(const std::string& path, int orientation) {
    const auto image = Exiv2::ImageFactory::open(path);
    image->readMetadata();
    image->exifData()["Exif.Image.Orientation"] = std::uint16_t(orientation);
    image->exifData()["Exif.Photo.PixelXDimension"] = std::uint32_t(1234);
    image->exifData()["Exif.Photo.PixelYDimension"] = std::uint32_t(4321);
    image->exifData()["Exif.Photo.ColorSpace"] = std::uint16_t(1);
    image->writeMetadata();
}

Profile made(double gamma, const cmsCIExyY& white, const cmsCIExyYTRIPLE& primaries) {
    cmsToneCurve* curve = cmsBuildGamma(nullptr, gamma);
    cmsToneCurve* curves[3] = {curve, curve, curve};
    const cmsHPROFILE handle = cmsCreateRGBProfile(&white, &primaries, curves);
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(handle, nullptr, &size);
    std::vector<unsigned char> bytes(size);
    cmsSaveProfileToMem(handle, bytes.data(), &size);
    cmsCloseProfile(handle);
    cmsFreeToneCurve(curve);
    return Profile::fromBytes(bytes);
}

Profile named(const std::string& name) {
    if (name == "Display P3") return Profile::displayP3();
    if (name == "Adobe RGB")
        return made(2.19921875, {0.3127, 0.3290, 1}, {{0.64, 0.33, 1}, {0.21, 0.71, 1}, {0.15, 0.06, 1}});
    if (name == "ProPhoto")
        return made(1.8, {0.3457, 0.3585, 1}, {{0.7347, 0.2653, 1}, {0.1596, 0.8404, 1}, {0.0366, 0.0001, 1}});
    return Profile::srgb();
}

class OrientedFiles : public testing::TestWithParam<std::tuple<std::string, std::string>> {};

TEST_P(OrientedFiles, AreReadUprightInTheirProfileAndWrittenSo) {
    const auto& [profile, name] = GetParam();
    const Scratch scratch;
    Photograph stored = colourful(45, 70);
    stored.profile = stored.outputProfile = named(profile);
    const std::string path = scratch / name;
    WriteOptions lossless;
    lossless.quality = 100;
    for (int orientation = 1; orientation <= 8; ++orientation) {
        writePhotograph(stored, path, lossless);
        const Photograph plain = readPhotograph(path);
        setOrientation(path, orientation);

        const Photograph read = readPhotograph(path);
        EXPECT_EQ(read.profile, stored.profile) << read.profile.name();
        EXPECT_EQ(read.outputProfile.bytes(), stored.profile.bytes());
        ASSERT_EQ(read.pixels.size(), orientation < 5 ? cv::Size(45, 70) : cv::Size(70, 45)) << orientation;
        for (int r = 0; r < read.pixels.rows; ++r)
            for (int c = 0; c < read.pixels.cols; ++c)
                ASSERT_EQ(read.pixels.at<cv::Vec4w>(r, c), storedAt(plain.pixels, orientation, r, c)) << orientation;

        const std::string copy = scratch / ("copy_" + name);
        writePhotograph(read, copy, lossless);
        const auto metadata = Metadata::fromFile(copy);
        EXPECT_EQ(metadata->orientation(), 1);
        EXPECT_EQ(metadata->text("Exif.Photo.PixelXDimension"), std::to_string(read.pixels.cols));
        EXPECT_EQ(metadata->text("Exif.Photo.PixelYDimension"), std::to_string(read.pixels.rows));
        EXPECT_EQ(metadata->text("Exif.Photo.ColorSpace"), profile == "sRGB" ? "1" : "65535");
        const Photograph again = readPhotograph(copy);
        EXPECT_EQ(again.profile.bytes(), stored.profile.bytes());
        EXPECT_EQ(again.pixels.size(), read.pixels.size());
        if (name != "a.jpg") {
            EXPECT_TRUE(same(again.pixels, read.pixels));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Profiles, OrientedFiles,
                         testing::Combine(testing::Values("sRGB", "Display P3", "Adobe RGB", "ProPhoto"),
                                          testing::Values("a.jpg", "a.png", "a.tif")));

TEST(Profiles, AFileWithoutOneIsSrgb) {
    const Scratch scratch;
    writePhotograph(colourful(20, 20), scratch / "a.jpg");
    const auto image = Exiv2::ImageFactory::open(scratch / "a.jpg");
    image->readMetadata();
    image->clearIccProfile();
    image->writeMetadata();
    EXPECT_EQ(readPhotograph(scratch / "a.jpg").profile, Profile::srgb());
    EXPECT_EQ(readPhotograph(std::string(KESTROVA_PHOTOS) + "/dandelion_768x512.png").profile, Profile::srgb());
}

TEST(Profiles, CamerasThatSayAdobeRgbWithoutAProfileAreBelieved) {
    const Scratch scratch;
    writePhotograph(colourful(20, 20), scratch / "a.jpg");
    const auto image = Exiv2::ImageFactory::open(scratch / "a.jpg");
    image->readMetadata();
    image->clearIccProfile();
    image->exifData()["Exif.Photo.ColorSpace"] = std::uint16_t(0xffff);
    image->exifData()["Exif.Iop.InteroperabilityIndex"] = "R03";
    image->writeMetadata();
    const Photograph read = readPhotograph(scratch / "a.jpg");
    EXPECT_EQ(read.profile, Profile::adobeRgb());
    writePhotograph(read, scratch / "b.jpg");
    EXPECT_EQ(readPhotograph(scratch / "b.jpg").profile.bytes(), Profile::adobeRgb().bytes());
}

TEST(Profiles, TheOutputProfileIsConvertedToAndEmbedded) {
    const Scratch scratch;
    Photograph photograph = colourful(60, 40, 16);
    photograph.outputProfile = Profile::displayP3();
    writePhotograph(photograph, scratch / "a.tif");
    const Photograph read = readPhotograph(scratch / "a.tif");
    EXPECT_EQ(read.profile.bytes(), Profile::displayP3().bytes());
    cv::Mat expected;
    ColourTransform(Profile::srgb(), Profile::displayP3()).apply(photograph.pixels, expected, 1);
    EXPECT_TRUE(same(read.pixels, expected));
}

}  // namespace
}  // namespace kestrova::photo
