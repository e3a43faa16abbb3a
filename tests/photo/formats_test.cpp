#include <gtest/gtest.h>

#include "photo/error.h"
#include "photo/read.h"
#include "photo/write.h"
#include "tests/photo/files.h"
#include "tests/support/printed.h"

namespace kestrova::photo {
namespace {

struct Kind {
    const char* extension;
    int bits;
    bool alpha;
};

std::ostream& operator<<(std::ostream& stream, const Kind& kind) {
    return stream << kind.extension << kind.bits << (kind.alpha ? "alpha" : "");
}

class Lossless : public testing::TestWithParam<Kind> {};

TEST_P(Lossless, FilesGiveBackTheVeryPixelsThatWereWritten) {
    const Kind kind = GetParam();
    const Scratch scratch;
    for (const cv::Size size :
         {cv::Size(1, 1), cv::Size(1, 7), cv::Size(97, 1), cv::Size(61, 130), cv::Size(300, 200)}) {
        const Photograph photograph = colourful(size.width, size.height, kind.bits, kind.alpha);
        const std::string path = scratch / (std::string("a.") + kind.extension);
        WriteOptions options;
        options.quality = 100;
        const WriteReport report = writePhotograph(photograph, path, options);
        EXPECT_EQ(report.bytes, bytesOf(path).size());
        EXPECT_TRUE(report.notes.empty()) << report.notes.front();
        const Photograph read = readPhotograph(path);
        EXPECT_TRUE(same(read.pixels, photograph.pixels)) << size << ' ' << distance(read.pixels, photograph.pixels);
        EXPECT_EQ(read.hasAlpha, kind.alpha);
        EXPECT_EQ(read.sourceBits, kind.bits);
        EXPECT_FALSE(read.grey);
        EXPECT_EQ(read.profile, Profile::srgb());
        EXPECT_TRUE(read.notes.empty()) << read.notes.front();
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, Lossless,
                         testing::Values(Kind{"png", 8, false}, Kind{"png", 8, true}, Kind{"png", 16, false},
                                         Kind{"png", 16, true}, Kind{"tif", 8, false}, Kind{"tif", 8, true},
                                         Kind{"tif", 16, false}, Kind{"tif", 16, true}, Kind{"webp", 8, false},
                                         Kind{"webp", 8, true}));

TEST(Formats, GreyStaysGreyInFilesThatKnowIt) {
    const Scratch scratch;
    for (const char* name : {"g.png", "g.tif", "g.jpg"})
        for (const bool alpha : {false, true}) {
            Photograph photograph = colourful(40, 30, 8, alpha);
            for (auto pixel = photograph.pixels.begin<cv::Vec4w>(); pixel != photograph.pixels.end<cv::Vec4w>();
                 ++pixel)
                (*pixel)[0] = (*pixel)[2] = (*pixel)[1];
            photograph.grey = true;
            WriteOptions options;
            options.quality = 100;
            writePhotograph(photograph, scratch / name, options);
            const Photograph read = readPhotograph(scratch / name);
            EXPECT_TRUE(read.grey) << name;
            EXPECT_EQ(read.profile, Profile::srgb()) << name << read.profile.name();
            EXPECT_EQ(read.outputProfile.channels(), 1);
            if (std::string(name) != "g.jpg") {
                EXPECT_TRUE(same(read.pixels, photograph.pixels)) << name << alpha;
            }
            // Once more, from the file's own profile.
            writePhotograph(read, scratch / ("again_" + std::string(name)));
            EXPECT_TRUE(readPhotograph(scratch / ("again_" + std::string(name))).grey);
        }
}

TEST(Formats, JpegIsCloseAndSaysWhatItDropped) {
    const Scratch scratch;
    Photograph photograph = colourful(120, 80, 16, true);
    WriteOptions options;
    options.quality = 100;
    const WriteReport report = writePhotograph(photograph, scratch / "a.jpg", options);
    ASSERT_EQ(report.notes.size(), 2u);
    EXPECT_EQ(report.notes[0], "JPEG does not hold alpha; the picture was laid over white");
    EXPECT_EQ(report.notes[1], "16 bits a channel were rounded to 8");
}

TEST(Formats, JpegKeepsFullColourFromQuality90On) {
    const Scratch scratch;
    Photograph photograph = colourful(64, 64);
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x)
            photograph.pixels.at<cv::Vec4w>(y, x) =
                x % 2 ? cv::Vec4w(0, 0, 65535, 65535) : cv::Vec4w(65535, 0, 0, 65535);
    const auto loss = [&](int quality, ChromaSampling chroma) {
        WriteOptions options;
        options.quality = quality;
        options.chroma = chroma;
        writePhotograph(photograph, scratch / "a.jpg", options);
        return distance(readPhotograph(scratch / "a.jpg").pixels, photograph.pixels) / 257;
    };
    EXPECT_LT(loss(90, ChromaSampling::byQuality), 40);
    EXPECT_GT(loss(89, ChromaSampling::byQuality), 80);
    EXPECT_GT(loss(95, ChromaSampling::half), 80);
    EXPECT_LT(loss(89, ChromaSampling::full), 40);
}

TEST(Formats, TheBundledPhotographsAreRead) {
    const std::string photos = KESTROVA_PHOTOS;
    const Photograph large = readPhotograph(photos + "/dandelion_5312x2988.jpg");
    EXPECT_EQ(large.pixels.size(), cv::Size(5312, 2988));
    EXPECT_EQ(readPhotograph(photos + "/dandelion_768x512_16bit.png").sourceBits, 16);
}

TEST(Formats, PreviewsAreAtLeastAsLargeAsAskedForAndNotTwice) {
    const Scratch scratch;
    for (const char* name : {"a.jpg", "a.png", "a.tif", "a.webp"}) {
        writePhotograph(colourful(900, 700), scratch / name);
        for (int edge : {50, 113, 256, 600, 900, 2000}) {
            const Photograph preview = readPreview(scratch / name, edge);
            EXPECT_GE(preview.pixels.cols, std::min(edge, 900)) << name;
            EXPECT_LT(preview.pixels.cols, 2 * edge) << name;
            EXPECT_NEAR(preview.pixels.cols / double(preview.pixels.rows), 9 / 7.0, 0.05);
        }
    }
}

}  // namespace
}  // namespace kestrova::photo
