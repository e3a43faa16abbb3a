#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

//! [use]
#include <photo/development.h>
#include <photo/error.h>
#include <photo/read.h>
#include <photo/write.h>

#include <cstdio>

using namespace kestrova::photo;

// Makes a small photograph for the web: open shadows, livelier colours, sRGB, of the metadata who made it and whose it
// is. Returns whether it is there; what its file does not hold of the photograph is said.
bool developForTheWeb(const std::string& in, const std::string& out) try {
    Settings settings;
    settings.light.shadows = 0.4f;
    settings.colour.vibrance = 0.3f;
    settings.size = 2048;
    Photograph photograph = readPhotograph(in);
    Development development(photograph);
    development.set(settings);
    Development::Output output;
    output.profile = Profile::srgb();
    const Development::Rendering rendering = development.render(output);

    photograph.pixels = rendering.pixels;
    photograph.profile = photograph.outputProfile = rendering.profile;
    WriteOptions options;
    options.metadata = MetadataChoice::copyright;
    for (const std::string& note : writePhotograph(photograph, out, options).notes) std::puts(note.c_str());
    return true;
} catch (const Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return false;
}
//! [use]

//! [view]
// What a window shows of a photograph: rendered again after each move of a slider, on a thread that is not the
// window's. `control.cancel()`, from any thread, ends a rendering that nobody waits for any more.
cv::Mat view(Development& development, const Settings& settings, const cv::Rect& part, int step, Control& control) {
    development.set(settings);  // finds out itself what has become stale
    try {
        return development.render(part, step, Development::Output(), &control).pixels;
    } catch (const Error& error) {
        if (error.kind() != Error::Kind::cancelled) throw;
        return cv::Mat();
    }
}
//! [view]

namespace {

class DocumentedPhoto : public testing::Test {
protected:
    DocumentedPhoto() {
        std::string name = (std::filesystem::temp_directory_path() / "kestrova-docs-XXXXXX").string();
        m_folder = ::mkdtemp(name.data());
    }
    ~DocumentedPhoto() override { std::filesystem::remove_all(m_folder); }
    std::string operator/(const std::string& name) const { return (m_folder / name).string(); }

private:
    std::filesystem::path m_folder;
};

// A dark and a bright half, muted green, in Display P3.
Photograph meadow(int width, int height) {
    Photograph photograph;
    photograph.pixels.create(height, width, CV_16UC4);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const int v = (x < width / 2 ? 9000 : 40000) + (x / 8 + y / 8) % 2 * 1500;
            photograph.pixels.at<cv::Vec4w>(y, x) =
                cv::Vec4w(static_cast<ushort>(0.8 * v), static_cast<ushort>(v), static_cast<ushort>(0.9 * v), 65535);
        }
    photograph.profile = photograph.outputProfile = Profile::displayP3();
    return photograph;
}

TEST_F(DocumentedPhoto, DevelopsForTheWeb) {
    writePhotograph(meadow(3000, 400), *this / "in.tif");
    ASSERT_TRUE(developForTheWeb(*this / "in.tif", *this / "out.png"));
    const Photograph out = readPhotograph(*this / "out.png");
    EXPECT_EQ(out.pixels.size(), cv::Size(2048, 273));
    EXPECT_EQ(out.profile, Profile::srgb());
    cv::Mat before;
    ColourTransform(Profile::displayP3(), Profile::srgb()).apply(meadow(3000, 400).pixels, before, 1);
    EXPECT_GT(cv::mean(out.pixels.colRange(0, 1000))[1], cv::mean(before.colRange(0, 1450))[1] + 1000)
        << "shadows are open";
    EXPECT_FALSE(developForTheWeb(*this / "missing.jpg", *this / "out.png"));
}

TEST_F(DocumentedPhoto, RendersViewsAndEndsWhenNobodyWaits) {
    Development development(meadow(900, 600));
    Settings settings;
    settings.light.shadows = 0.5f;
    Control control;
    EXPECT_EQ(view(development, settings, {30, 30, 300, 240}, 3, control).size(), cv::Size(100, 80));
    control.cancel();
    EXPECT_TRUE(view(development, settings, {0, 0, 900, 600}, 1, control).empty());
}

}  // namespace
