#include "photo/settings.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <set>

#include "photo/error.h"
#include "tests/support/little_memory.h"

namespace kestrova::photo {
namespace {

/// The message of the `Error` of kind input that `work` throws.
template <class Work>
std::string refusal(const Work& work) {
    try {
        work();
    } catch (const Error& error) {
        EXPECT_EQ(error.kind(), Error::Kind::input);
        return error.what();
    }
    ADD_FAILURE() << "nothing was refused";
    return {};
}

bool mentions(const std::string& text, const std::string& name) { return text.find(name) != text.npos; }

Settings everything() {
    Settings settings;
    float value = 0.1f;
    for (const Slider& slider : sliders()) slider.of(settings) = value += 0.013f;
    settings.filter = DetailFilter::laplacian;
    settings.rotate = 270;
    settings.straighten = -1.25;
    settings.crop = {0.1, 0.2, 0.5, 0.25};
    settings.size = 2048;
    Layer layer;
    layer.name = "sky, \"blue\" ä";
    layer.adjustments.light.highlights = -0.3f;
    layer.mask.inverted = true;
    Stroke stroke;
    stroke.points = {{0.1, 0.2}, {1.0 / 3, 0.5}};
    stroke.radius = 0.07;
    stroke.hardness = 0.25;
    stroke.opacity = 0.5;
    stroke.tolerance = 2;
    stroke.erase = true;
    layer.mask.strokes = {stroke, stroke};
    settings.layers = {layer, Layer()};
    return settings;
}

class SettingsFile : public testing::Test {
protected:
    void SetUp() override {
        char name[] = "/tmp/kestrova-settings-XXXXXX";
        m_folder = mkdtemp(name);
    }
    void TearDown() override { std::filesystem::remove_all(m_folder); }
    std::string path(const std::string& name) const { return m_folder + "/" + name; }
    std::size_t fileCount() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(m_folder), {}));
    }
    std::string m_folder;
};

TEST(Settings, RestAtValuesThatChangeNothing) {
    const Settings settings;
    for (const Slider& slider : sliders()) EXPECT_EQ(slider.value(settings), 0) << slider.name;
    EXPECT_TRUE(settings.changesNoPixel());
    EXPECT_NO_THROW(settings.check());
    EXPECT_EQ(settings, Settings());
}

TEST(Settings, SlidersHaveNamesOfTheirOwnAndASentenceEach) {
    std::set<std::string> names;
    std::set<const float*> places;
    Settings settings;
    for (const Slider& slider : sliders()) {
        EXPECT_TRUE(names.insert(slider.name).second) << slider.name;
        EXPECT_TRUE(places.insert(&slider.of(settings)).second) << slider.name;
        EXPECT_EQ(std::string(slider.tip).back(), '.') << slider.name;
        EXPECT_LE(slider.least, 0);
        EXPECT_GT(slider.greatest, 0);
    }
    EXPECT_EQ(places.size() * sizeof(float), sizeof(Adjustments)) << "a member has no slider";
}

TEST(Settings, EachSliderMakesThemDifferAndReachesItsEnds) {
    for (const Slider& slider : sliders()) {
        for (float end : {slider.least, slider.greatest}) {
            Settings settings;
            slider.of(settings) = end;
            EXPECT_NO_THROW(settings.check()) << slider.name;
        }
        Settings settings;
        slider.of(settings) = slider.greatest;
        EXPECT_NE(settings, Settings()) << slider.name;
        EXPECT_FALSE(settings.changesNoPixel()) << slider.name;
    }
}

TEST(Settings, ValuesBeyondTheirRangeAreRefusedByName) {
    for (const Slider& slider : sliders())
        for (float value : {slider.least - 0.001f, slider.greatest + 0.001f, NAN, INFINITY}) {
            Settings settings;
            slider.of(settings) = value;
            EXPECT_TRUE(mentions(refusal([&] { settings.check(); }), slider.name));
            Settings local;
            local.layers.resize(2);
            slider.of(local.layers[1].adjustments) = value;
            const std::string text = refusal([&] { local.check(); });
            EXPECT_TRUE(mentions(text, slider.name) && mentions(text, "layer 2")) << text;
        }
}

TEST(Settings, OtherValuesAreRefusedByName) {
    const auto refused = [](void (*change)(Settings&)) {
        Settings settings = everything();
        change(settings);
        return refusal([&] { settings.check(); });
    };
    EXPECT_TRUE(mentions(refused([](Settings& s) { s.rotate = 45; }), "rotate"));
    EXPECT_TRUE(mentions(refused([](Settings& s) { s.straighten = 45.5; }), "straighten"));
    EXPECT_TRUE(mentions(refused([](Settings& s) { s.straighten = NAN; }), "straighten"));
    EXPECT_TRUE(mentions(refused([](Settings& s) { s.crop.x = -0.1; }), "crop x"));
    EXPECT_TRUE(mentions(refused([](Settings& s) { s.crop.width = 0.95; }), "crop width"));
    EXPECT_TRUE(mentions(refused([](Settings& s) { s.crop.height = 0; }), "crop height"));
    EXPECT_TRUE(mentions(refused([](Settings& s) { s.size = -1; }), "size"));
    EXPECT_TRUE(mentions(refused([](Settings& s) { s.layers.resize(17); }), "16 layers"));
    EXPECT_TRUE(mentions(refused([](Settings& s) { s.layers[0].mask.strokes[0].radius = 0; }), "radius"));
    EXPECT_TRUE(mentions(refused([](Settings& s) { s.layers[0].mask.strokes[0].hardness = 1.1; }), "hardness"));
    EXPECT_TRUE(mentions(refused([](Settings& s) { s.layers[0].mask.strokes[0].opacity = -1; }), "opacity"));
    EXPECT_TRUE(mentions(refused([](Settings& s) { s.layers[0].mask.strokes[0].tolerance = 101; }), "tolerance"));
    EXPECT_TRUE(mentions(refused([](Settings& s) { s.layers[0].mask.strokes[0].points[0].x = NAN; }), "points"));
}

TEST(Settings, PlacedAsOthersTakeTheirGeometryAndNothingElse) {
    Settings settings, other;
    settings.light.shadows = 0.5f;
    settings.filter = DetailFilter::wls;
    settings.layers.resize(1);
    settings.rotate = 180;
    other.light.shadows = -0.5f;
    other.rotate = 90;
    other.straighten = 3;
    other.crop = {0.1, 0.2, 0.5, 0.6};
    other.size = 800;
    Settings expected = settings;
    expected.rotate = 90;
    expected.straighten = 3;
    expected.crop = {0.1, 0.2, 0.5, 0.6};
    expected.size = 800;
    EXPECT_EQ(settings.placedAs(other), expected);
}

TEST(Settings, SumsStayWithinTheRange) {
    Adjustments one, other;
    one.light.shadows = 0.7f;
    other.light.shadows = 0.6f;
    one.colour.tint = 0.25f;
    other.colour.tint = -0.5f;
    const Adjustments sum = one + other;
    EXPECT_EQ(sum.light.shadows, 1);
    EXPECT_EQ(sum.colour.tint, -0.25f);
}

TEST(Settings, ComeBackFromJsonAsTheyWere) {
    EXPECT_EQ(Settings::fromJson(Settings().toJson()), Settings());
    EXPECT_EQ(Settings::fromJson(everything().toJson()), everything());
    for (const Slider& slider : sliders()) {
        Settings settings;
        slider.of(settings) = 1.0f / 3;
        EXPECT_EQ(Settings::fromJson(settings.toJson()), settings) << slider.name;
    }
}

TEST(Settings, JsonHoldsTheVersionAndWhatDiffers) {
    Settings settings;
    settings.light.shadows = 0.4f;
    EXPECT_EQ(settings.toJson(), "{\n  \"version\": 1,\n  \"shadows\": 0.4\n}\n");
}

TEST(Settings, JsonIsRefusedByTheNameOfWhatIsWrong) {
    const auto refused = [](const std::string& json) { return refusal([&] { Settings::fromJson(json); }); };
    EXPECT_TRUE(mentions(refused("{"), "no JSON"));
    EXPECT_TRUE(mentions(refused("[]"), "not an object"));
    EXPECT_TRUE(mentions(refused("{}"), "no version"));
    EXPECT_TRUE(mentions(refused(R"({"version": 2})"), "version 2"));
    EXPECT_TRUE(mentions(refused(R"({"version": 1, "shadow": 1})"), "\"shadow\""));
    EXPECT_TRUE(mentions(refused(R"({"version": 1, "shadows": "1"})"), "shadows is not a number"));
    EXPECT_TRUE(mentions(refused(R"({"version": 1, "shadows": 1.5})"), "shadows is 1.5"));
    EXPECT_TRUE(mentions(refused(R"({"version": 1, "size": 10.5})"), "size is not a whole number"));
    EXPECT_TRUE(mentions(refused(R"({"version": 1, "filter": "gauss"})"), "filter"));
    EXPECT_TRUE(mentions(refused(R"({"version": 1, "layers": [{"mask": {"stroke": []}}]})"), "\"stroke\""));
    EXPECT_TRUE(mentions(refused(R"({"version": 1, "layers": [{"rotate": 90}]})"), "\"rotate\""));
    EXPECT_TRUE(mentions(refused(R"({"version": 1, "layers": {}})"), "layers"));
    EXPECT_TRUE(mentions(refused(R"({"version": 1, "size": 99999999999})"), "size"));
}

TEST(Settings, JsonOfMoreThanSettingsHaveIsRefusedBeforeItTakesMemory) {
    const auto refused = [](const std::string& json) { return refusal([&] { Settings::fromJson(json); }); };
    const auto repeated = [](const std::string& text, int times) {
        std::string all;
        for (int i = 0; i < times; ++i) all += text;
        return all;
    };
    EXPECT_TRUE(mentions(refused(repeated("[", 17)), "nested"));
    EXPECT_FALSE(mentions(refused(repeated("[", 16)), "nested"));
    EXPECT_TRUE(mentions(refused(repeated("{\"a\":", 5000000)), "nested"));
    EXPECT_TRUE(mentions(refused("[" + repeated("0,", 5000000) + "0]"), "at most 5000000 values"));
    EXPECT_TRUE(mentions(refused("[" + repeated("[],", 5000000) + "[]]"), "at most 5000000 values"));
    std::string members;
    for (int i = 0; i < 257; ++i) members += (i ? ", \"" : "\"") + std::to_string(i) + "\": 0";
    EXPECT_TRUE(mentions(refused("{" + members + "}"), "at most 256 members"));
    EXPECT_TRUE(mentions(refused("]]]]"), "no JSON"));
    EXPECT_TRUE(mentions(refused("{\"version\": 1, \"" + repeated("[", 20) + "\\\"{,:\": 1}"), "unknown key"))
        << "brackets in a text are none";
}

TEST(Settings, PresetsHaveNamesOfTheirOwnAndAreInRange) {
    std::set<std::string> names;
    for (const Preset& each : presets()) {
        EXPECT_TRUE(names.insert(each.name).second);
        EXPECT_NO_THROW(each.settings.check());
        EXPECT_FALSE(each.settings.changesNoPixel()) << each.name;
        EXPECT_EQ(&preset(each.name), &each);
    }
    EXPECT_GE(names.size(), 5u);
    EXPECT_TRUE(mentions(refusal([] { preset("sepia"); }), "sepia"));
    EXPECT_TRUE(mentions(refusal([] { slider("sepia"); }), "sepia"));
}

TEST_F(SettingsFile, ComesBackAsItWas) {
    everything().save(path("a.json"));
    EXPECT_EQ(Settings::load(path("a.json")), everything());
    EXPECT_EQ(fileCount(), 1u) << "something else lies beside it";
}

/// `count` strokes, each of so many points.
Settings painted(int count, int points) {
    Stroke stroke;
    for (int i = 0; i < points; ++i) stroke.points.push_back({std::sqrt(i + 2.0) / 40, std::sqrt(i + 3.0) / 40});
    Settings settings;
    settings.layers.resize(1);
    settings.layers[0].mask.strokes.assign(static_cast<std::size_t>(count), stroke);
    return settings;
}

TEST_F(SettingsFile, HoldsThousandsOfStrokes) {
    const Settings settings = painted(3000, 200);
    settings.save(path("a.json"));
    EXPECT_EQ(Settings::load(path("a.json")), settings);
}

TEST_F(SettingsFile, IsNotReplacedByOneThatIsTooLargeToBeRead) {
    everything().save(path("a.json"));
    EXPECT_TRUE(mentions(refusal([&] { painted(1000, 1000).save(path("a.json")); }), "at most 64 MiB"));
    EXPECT_EQ(Settings::load(path("a.json")), everything());
}

TEST_F(SettingsFile, ThatIsTooLargeIsRefused) {
    std::ofstream(path("a.json")) << Settings().toJson();
    std::filesystem::resize_file(path("a.json"), (std::uintmax_t{64} << 20) + 1);
    EXPECT_TRUE(mentions(refusal([&] { Settings::load(path("a.json")); }), "at most 64 MiB"));
}

TEST_F(SettingsFile, ThatMemoryDoesNotSufficeForIsRefused) {
    std::ofstream(path("a.json")) << std::string(60u << 20, ' ');
    withLittleMemory(20u << 20, [&] {
        try {
            Settings::load(path("a.json"));
        } catch (const Error& error) {
            return error.kind() == Error::Kind::memory && mentions(error.what(), "a.json");
        }
        return false;
    });
}

TEST_F(SettingsFile, IsReplacedWithItsMode) {
    Settings().save(path("a.json"));
    chmod(path("a.json").c_str(), 0640);
    everything().save(path("a.json"));
    struct stat now {};
    stat(path("a.json").c_str(), &now);
    EXPECT_EQ(now.st_mode & 07777, 0640u);
    EXPECT_EQ(Settings::load(path("a.json")), everything());
}

TEST_F(SettingsFile, StandsBesideThePhotographAndLeavesItAlone) {
    std::ofstream(path("photo.jpg")) << "pixels";
    everything().save(Settings::sidecarOf(path("photo.jpg")));
    EXPECT_EQ(Settings::load(path("photo.jpg.kestrova.json")), everything());
    std::string content;
    std::ifstream(path("photo.jpg")) >> content;
    EXPECT_EQ(content, "pixels");
}

TEST_F(SettingsFile, IsNotTouchedBySettingsThatAreOutOfRange) {
    everything().save(path("a.json"));
    Settings wrong;
    wrong.light.shadows = 2;
    EXPECT_THROW(wrong.save(path("a.json")), Error);
    EXPECT_EQ(Settings::load(path("a.json")), everything());
}

TEST_F(SettingsFile, ThatCannotBeReadOrWrittenIsSaid) {
    const auto kindOf = [](auto work) {
        try {
            work();
        } catch (const Error& error) {
            return error.kind();
        }
        return Error::Kind::programming;
    };
    EXPECT_EQ(kindOf([&] { Settings::load(path("none.json")); }), Error::Kind::file);
    EXPECT_EQ(kindOf([&] { Settings().save(path("none/a.json")); }), Error::Kind::file);
    EXPECT_EQ(kindOf([&] { Settings().save("/dev/null"); }), Error::Kind::file);
    std::ofstream(path("b.json")) << "{\"version\": 1, \"oops\": 2}";
    EXPECT_TRUE(mentions(refusal([&] { Settings::load(path("b.json")); }), "b.json"));
}

}  // namespace
}  // namespace kestrova::photo
