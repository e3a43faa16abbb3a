#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include <cmath>
#include <exiv2/exiv2.hpp>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <opencv2/imgproc.hpp>
#include <sstream>

#include "photo/error.h"
#include "photo/orientation.h"
#include "photo/read.h"
#include "photo/write.h"
#include "tests/apps/program.h"
#include "tests/photo/files.h"

namespace kestrova::photo {
namespace {

namespace fs = std::filesystem;

/// One of fifty photographs: a part of a bundled one, stored so that its orientation makes it upright.
struct Sample {
    std::string name;
    Photograph upright;
    int orientation = 1;
};

const char* const kFormats[] = {"jpg", "png", "tif", "webp", "jp2", "heic", "avif", "exr", "jpg", "tif"};
const char* const kBundled[] = {"dandelion_768x512.png", "dandelion_768x512_16bit.png",
                                "tmshre_riaphotographs_srgb8.png", "u76c0g_bliznaca_srgb8.png"};

/// The orientation that undoes another.
int opposite(int orientation) { return orientation == 6 ? 8 : orientation == 8 ? 6 : orientation; }

void writeByOiio(const cv::Mat& pixels, const std::string& path) {
    const bool light = fs::path(path).extension() == ".exr";
    std::vector<float> values;
    for (int y = 0; y < pixels.rows; ++y)
        for (int x = 0; x < pixels.cols; ++x)
            for (int c = 2; c >= 0; --c) {
                const double v = pixels.at<cv::Vec4w>(y, x)[c] / 65535.0;
                values.push_back(static_cast<float>(!light         ? v
                                                    : v <= 0.04045 ? v / 12.92
                                                                   : std::pow((v + 0.055) / 1.055, 2.4)));
            }
    const auto output = OIIO::ImageOutput::create(path);
    ASSERT_TRUE(output) << path;
    ASSERT_TRUE(output->open(
        path, OIIO::ImageSpec(pixels.cols, pixels.rows, 3, light ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::UINT8)));
    ASSERT_TRUE(output->write_image(OIIO::TypeDesc::FLOAT, values.data()));
    output->close();
}

Sample makeSample(int i, const std::string& folder) {
    const std::string format = kFormats[i % 10];
    Sample sample;
    sample.name = std::to_string(i) + "." + format;
    Photograph source = readPhotograph(std::string(KESTROVA_PHOTOS "/") + kBundled[i % 4]);
    sample.upright.sourceBits = format == "png" || format == "tif" ? (i % 3 == 0 ? 16 : 8) : 8;
    // OpenImageIO's HEIF writer reads rows as long as the encoder pads them: these sides need no padding.
    sample.upright.pixels = source.pixels(cv::Rect(7 * (i % 5), 5 * (i % 7), 320, 192)).clone();
    const Profile profiles[] = {Profile::srgb(), Profile::displayP3(), Profile::adobeRgb(), Profile::srgb()};
    const std::string path = folder + "/" + sample.name;
    if (!writtenFormat(path)) {
        writeByOiio(sample.upright.pixels, path);
        return sample;
    }
    sample.orientation = 1 + i % 8;
    const Profile profile = profiles[i % 4];
    ColourTransform(Profile::srgb(), profile).apply(sample.upright.pixels, sample.upright.pixels, 1);
    sample.upright.profile = sample.upright.outputProfile = profile;
    Photograph stored = sample.upright;
    stored.pixels = upright(sample.upright.pixels, opposite(sample.orientation), 1);
    writePhotograph(stored, path);
    const auto image = Exiv2::ImageFactory::open(path);
    image->readMetadata();
    image->exifData()["Exif.Image.Orientation"] = static_cast<std::uint16_t>(sample.orientation);
    image->exifData()["Exif.Image.Artist"] = "photographer " + std::to_string(i);
    if (format != "webp") {  // Exiv2 writes EXIF into all of these, but drops WebP's profile
        image->writeMetadata();
    } else {
        sample.orientation = 1;
        sample.upright.pixels = stored.pixels;
    }
    return sample;
}

/// Mean absolute difference of two pictures, reduced to 32 pixels' width, in steps of 8 bits.
double apart(const cv::Mat& a, const cv::Mat& b) {
    cv::Mat small[2];
    const cv::Size size(32, std::max(1, 32 * a.rows / a.cols));
    cv::resize(a, small[0], size, 0, 0, cv::INTER_AREA);
    cv::resize(b, small[1], size, 0, 0, cv::INTER_AREA);
    double sum = 0;
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            for (int c = 0; c < 3; ++c)
                sum += std::abs(small[0].at<cv::Vec4w>(y, x)[c] - small[1].at<cv::Vec4w>(y, x)[c]);
    return sum / 257 / 3 / size.area();
}

TEST(DevelopMixed, FiftyPhotographsOfAllKindsGoThroughOneCommandWithAReport) {
    const Scratch scratch;
    fs::create_directory(scratch / "in");
    std::map<std::string, Sample> samples;
    for (int i = 0; i < 50; ++i) {
        const Sample sample = makeSample(i, scratch / "in");
        samples[sample.name] = sample;
    }
    writeBytes(scratch / "in/broken.jpg", {0xff, 0xd8, 0xff, 0xe0, 0, 16, 'J'});
    const ProgramRun run = runDevelop({scratch / "in", "-d", scratch / "out", "--json", "--jobs", "2", "--threads", "1",
                                       "--profile", "srgb", "--quality", "95"});
    EXPECT_EQ(run.code, 2) << run.err;
    int done = 0, failed = 0;
    std::istringstream report(run.out);
    for (std::string line; std::getline(report, line);) {
        const auto entry = nlohmann::json::parse(line);
        const std::string name = fs::path(entry["input"].get<std::string>()).filename();
        if (entry["outcome"] == "failed") {
            EXPECT_EQ(name, "broken.jpg");
            ++failed;
            continue;
        }
        ++done;
        ASSERT_EQ(samples.count(name), 1u) << name;
        const Sample& sample = samples[name];
        const Photograph result = readPhotograph(entry["output"]);
        ASSERT_EQ(result.pixels.size(), sample.upright.pixels.size()) << name;
        EXPECT_EQ(result.profile, Profile::srgb());
        cv::Mat expected;
        ColourTransform(sample.upright.profile, Profile::srgb()).apply(sample.upright.pixels, expected, 1);
        EXPECT_LT(apart(result.pixels, expected), 2.5) << name;
        if (sample.orientation != 1) {
            EXPECT_EQ(result.metadata->orientation(), 1);
            EXPECT_EQ(result.metadata->text("Exif.Image.Artist").substr(0, 13), "photographer ");
        }
    }
    EXPECT_EQ(done, 50);
    EXPECT_EQ(failed, 1);
    const ProgramRun plain = runDevelop({scratch / "in", "-d", scratch / "again", "--jobs", "2", "--threads", "1"});
    EXPECT_NE(plain.out.find("50 done, 0 up to date, 1 failed"), std::string::npos) << plain.out;
}

}  // namespace
}  // namespace kestrova::photo
