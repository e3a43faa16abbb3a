#include <gtest/gtest.h>

#include <QSignalSpy>
#include <filesystem>

#include "studio/session.h"
#include "tests/studio/home.h"

namespace kestrova::studio {
namespace {

using photo::Settings;
using photo::slider;
namespace fs = std::filesystem;

class SessionPaste : public Home {
protected:
    SessionPaste()
        : first(photograph()),
          second(photograph("u76c0g_bliznaca_srgb8.png")),
          third(photograph("dandelion_768x512.png")) {
        from.colour.tint = 0.4f;
        from.rotate = 90;
        from.layers.emplace_back().name = "Sky";
    }
    static Settings saved(const std::string& path) { return Settings::load(Settings::sidecarOf(path)); }
    void waitForPaste(const QSignalSpy& pasted) {
        ASSERT_TRUE(waitFor([&] { return pasted.count() == 1; }));
    }

    const std::string first, second, third;
    Settings from;
    Session session{dataFolder()};
};

TEST_F(SessionPaste, GoesToPhotographsThatAreNotOpenAndLeavesTheirCrops) {
    Settings cropped;
    cropped.crop = {0.1, 0.2, 0.5, 0.3};
    cropped.save(Settings::sidecarOf(second));
    const auto pixels = photo::bytesOf(second);
    session.open(first);
    const QSignalSpy pasted(&session, &Session::pasted), changed(&session, &Session::savedSettingsChanged);
    session.paste(from, {first, second, third});
    waitForPaste(pasted);
    EXPECT_EQ(pasted[0][0].toInt(), 3);
    EXPECT_TRUE(pasted[0][1].toStringList().isEmpty());
    EXPECT_EQ(changed.count(), 2);
    ASSERT_TRUE(session.saveNow());
    for (const std::string& path : {first, second, third}) {
        EXPECT_EQ(saved(path).colour.tint, 0.4f) << path;
        EXPECT_EQ(saved(path).layers.at(0).name, "Sky") << path;
        EXPECT_EQ(saved(path).rotate, 0) << path;
        EXPECT_EQ(session.settingsOf(path), saved(path)) << path;
    }
    EXPECT_EQ(saved(second).crop, cropped.crop);
    EXPECT_EQ(photo::bytesOf(second), pixels) << "the photograph itself is not touched";
}

TEST_F(SessionPaste, IsAStepOfEachHistoryAfterThoseThatAreThere) {
    session.open(second);
    session.setValue(slider("brightness"), 0.25f);
    session.setValue(slider("contrast"), 0.5f);
    session.undo();
    session.open(first);
    const QSignalSpy pasted(&session, &Session::pasted);
    session.paste(from, {first, second});
    waitForPaste(pasted);
    session.undo();
    EXPECT_EQ(session.settings(), Settings());
    session.open(second);
    EXPECT_EQ(session.history()->count(), 2);
    EXPECT_EQ(session.history()->undoText(), "Paste settings");
    session.undo();
    EXPECT_EQ(session.settings().light.brightness, 0.25f);
    EXPECT_EQ(session.settings().colour.tint, 0);
}

TEST_F(SessionPaste, OfAPhotographThatIsOpenedBeforeItHasBeenReadIsAStepThere) {
    session.open(first);
    const QSignalSpy pasted(&session, &Session::pasted);
    session.paste(from, {second});
    EXPECT_EQ(session.settingsOf(second).colour.tint, 0.4f);
    session.open(second);
    EXPECT_EQ(session.settings().colour.tint, 0.4f);
    EXPECT_EQ(session.history()->count(), 1);
    waitForPaste(pasted);
    ASSERT_TRUE(session.saveNow());
    EXPECT_EQ(saved(second), session.settings());
    EXPECT_EQ(pasted.count(), 1);
    EXPECT_EQ(session.history()->count(), 1) << "once";
}

TEST_F(SessionPaste, LeavesSettingsThatCannotBeReadAndNamesTheirPhotographs) {
    photo::writeBytes(Settings::sidecarOf(second), {'{', '"', 'x'});
    session.open(first);
    const QSignalSpy pasted(&session, &Session::pasted);
    session.paste(from, {first, second, third});
    waitForPaste(pasted);
    EXPECT_EQ(pasted[0][0].toInt(), 2);
    EXPECT_EQ(pasted[0][1].toStringList(), QStringList{"u76c0g_bliznaca_srgb8.png"});
    ASSERT_TRUE(session.saveNow());
    EXPECT_EQ(photo::bytesOf(Settings::sidecarOf(second)).size(), 3u);
    EXPECT_EQ(saved(third).colour.tint, 0.4f);
}

TEST_F(SessionPaste, OfSettingsThatAreThereAlreadyWritesNothing) {
    session.open(first);
    const QSignalSpy pasted(&session, &Session::pasted);
    session.paste(Settings(), {first, second});
    waitForPaste(pasted);
    ASSERT_TRUE(session.saveNow());
    EXPECT_FALSE(fs::exists(Settings::sidecarOf(second)));
    EXPECT_EQ(session.history()->count(), 0);
}

TEST_F(SessionPaste, IsOnTheDiskBeforeTheSessionEnds) {
    auto other = std::make_unique<Session>(dataFolder());
    other->open(first);
    other->paste(from, {second, third});
    other.reset();
    EXPECT_EQ(saved(second).colour.tint, 0.4f);
    EXPECT_EQ(saved(third).colour.tint, 0.4f);
}

}  // namespace
}  // namespace kestrova::studio
