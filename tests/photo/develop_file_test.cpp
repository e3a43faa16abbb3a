#include "photo/develop_file.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "photo/error.h"
#include "photo/metadata.h"
#include "photo/read.h"
#include "tests/photo/files.h"

namespace kestrova::photo {
namespace {

namespace fs = std::filesystem;

class DevelopFile : public testing::Test {
protected:
    DevelopFile() : source(scratch / "a.png") { writePhotograph(colourful(90, 60, 16), source); }

    static Error::Kind kindOf(const std::function<void()>& call) {
        try {
            call();
        } catch (const Error& error) {
            return error.kind();
        }
        ADD_FAILURE() << "nothing was thrown";
        return Error::Kind::programming;
    }

    Scratch scratch;
    const std::string source;
};

TEST_F(DevelopFile, KeepsThePixelsAndTheirDepthWithoutSettings) {
    const std::string out = scratch / "deep/er/b.tif";
    const WriteReport report = developFile(source, {}, out);
    EXPECT_TRUE(same(readPhotograph(source).pixels, readPhotograph(out).pixels));
    EXPECT_EQ(readPhotograph(out).sourceBits, 16);
    EXPECT_EQ(report.bytes, fs::file_size(out));
}

TEST_F(DevelopFile, ObeysSettingsAndOptions) {
    Settings settings;
    settings.colour.saturation = -1;
    settings.size = 30;
    DevelopFileOptions options;
    options.format = FileFormat::png;
    options.bits = 8;
    options.profile = Profile::displayP3();
    developFile(source, settings, scratch / "b", options);
    const Photograph read = readPhotograph(scratch / "b");
    EXPECT_EQ(read.pixels.size(), cv::Size(30, 20));
    EXPECT_EQ(read.sourceBits, 8);
    EXPECT_EQ(read.profile, Profile::displayP3());
    const cv::Vec4w p = read.pixels.at<cv::Vec4w>(10, 15);
    EXPECT_LE(std::abs(p[0] - p[2]), 257);
}

TEST_F(DevelopFile, NamesThePhotographThatTakesTooMuchMemory) {
    DevelopFileOptions options;
    options.maxMemory = 200'000;  // enough to read it
    try {
        developFile(source, {}, scratch / "b.png", options);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const Error& error) {
        EXPECT_EQ(error.kind(), Error::Kind::memory);
        EXPECT_EQ(std::string(error.what()).rfind(source + ": ", 0), 0u) << error.what();
    }
}

TEST_F(DevelopFile, ComparesBesideThePhotographAsItWas) {
    DevelopFileOptions options;
    options.compare = true;
    Settings settings;
    settings.light.brightness = 0.5f;
    developFile(source, settings, scratch / "b.png", options);
    const cv::Mat both = readPhotograph(scratch / "b.png").pixels;
    ASSERT_EQ(both.size(), cv::Size(2 * 90 + 90 / 50, 60));
    EXPECT_TRUE(same(both.colRange(0, 90), readPhotograph(source).pixels));
    EXPECT_EQ(both.at<cv::Vec4w>(30, 90)[0], 65535);
}

TEST_F(DevelopFile, StoresItsKeyUnlessThereIsNoMetadata) {
    DevelopFileOptions options;
    developFile(source, {}, scratch / "b.png", options);
    const std::string key = developFileKey(source, {}, scratch / "b.png", options);
    EXPECT_EQ(Metadata::fromFile(scratch / "b.png")->text("Xmp.kestrova.Key"), key);
    options.metadata = MetadataChoice::none;
    developFile(source, {}, scratch / "c.png", options);
    EXPECT_EQ(Metadata::fromFile(scratch / "c.png"), nullptr);
    options.key = "of the host";
    developFile(source, {}, scratch / "d.png", options);
    EXPECT_EQ(Metadata::fromFile(scratch / "d.png")->text("Xmp.kestrova.Key"), "of the host");
}

TEST_F(DevelopFile, ItsKeyDependsOnAllThatTheResultDependsOn) {
    const DevelopFileOptions plain;
    const std::string out = scratch / "b.png", key = developFileKey(source, {}, out, plain);
    EXPECT_EQ(key.size(), 32u);
    EXPECT_EQ(developFileKey(source, {}, scratch / "c.png", plain), key);
    EXPECT_NE(developFileKey(source, {}, scratch / "b.tif", plain), key);
    Settings settings;
    settings.light.contrast = 0.1f;
    EXPECT_NE(developFileKey(source, settings, out, plain), key);
    DevelopFileOptions options = plain;
    options.bits = 8;
    EXPECT_NE(developFileKey(source, {}, out, options), key);
    options = plain;
    options.profile = Profile::displayP3();
    EXPECT_NE(developFileKey(source, {}, out, options), key);
    options = plain;
    options.key = "another";
    options.threads = 1;
    EXPECT_EQ(developFileKey(source, {}, out, options), key);
    writePhotograph(colourful(91, 60), source);
    EXPECT_NE(developFileKey(source, {}, out, plain), key);
}

TEST_F(DevelopFile, ReportsGrowingProgressToTheEndAndHandsTheControlBack) {
    Control control;
    std::vector<double> shares;
    control.progress = [&](double share) { shares.push_back(share); };
    Settings settings;
    settings.light.contrast = 0.2f;
    developFile(source, settings, scratch / "b.jpg", {}, &control);
    EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
    ASSERT_GE(shares.size(), 3u);
    EXPECT_EQ(shares.back(), 1);
    control.progress(0.5);
    EXPECT_EQ(shares.back(), 0.5);
}

TEST_F(DevelopFile, ACancelledOneLeavesTheTargetAsItWas) {
    writeBytes(scratch / "b.jpg", {1, 2, 3});
    Control control;
    control.progress = [&](double) { control.cancel(); };
    EXPECT_EQ(kindOf([&] { developFile(source, {}, scratch / "b.jpg", {}, &control); }), Error::Kind::cancelled);
    EXPECT_EQ(bytesOf(scratch / "b.jpg"), (std::vector<unsigned char>{1, 2, 3}));
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"a.png", "b.jpg"}));
}

TEST_F(DevelopFile, RefusesWhatCannotBe) {
    EXPECT_EQ(kindOf([&] { developFile(source, {}, scratch / "b.bmp"); }), Error::Kind::input);
    EXPECT_EQ(kindOf([&] { developFileKey(source, {}, scratch / "b", {}); }), Error::Kind::input);
    EXPECT_EQ(kindOf([&] { developFile(scratch / "missing.png", {}, scratch / "b.png"); }), Error::Kind::file);
    EXPECT_EQ(kindOf([&] { developFileKey(scratch / "missing.png", {}, scratch / "b.png", {}); }), Error::Kind::file);
    EXPECT_EQ(kindOf([&] { developFile(source, {}, source + "/below/b.png"); }), Error::Kind::file);
    DevelopFileOptions options;
    options.maxMegapixels = 0.001;
    EXPECT_EQ(kindOf([&] { developFile(source, {}, scratch / "b.png", options); }), Error::Kind::input);
    options = {};
    options.maxMemory = 1000;
    EXPECT_EQ(kindOf([&] { developFile(source, {}, scratch / "b.png", options); }), Error::Kind::memory);
    EXPECT_EQ(scratch.names(), std::vector<std::string>{"a.png"});
}

}  // namespace
}  // namespace kestrova::photo
