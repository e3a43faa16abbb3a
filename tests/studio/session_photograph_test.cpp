#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "studio/fingerprint.h"
#include "studio/session.h"
#include "tests/studio/home.h"

namespace kestrova::studio {
namespace {

using photo::Settings;
using photo::slider;
namespace fs = std::filesystem;

/// Which photograph a history is of, and what counts where its sidecar is gone.
class SessionPhotographTest : public Home {
protected:
    void edit(float brightness) {
        session.open(path);
        session.setValue(slider("brightness"), brightness);
        ASSERT_TRUE(session.saveNow());
        session.close();
    }
    float seen() {
        session.open(path);
        return session.settings().light.brightness;
    }
    void replaceBy(const std::string& photograph) {
        fs::copy_file(photograph, path, fs::copy_options::overwrite_existing);
    }

    const std::string path = photograph(), other = photograph("u76c0g_bliznaca_srgb8.png");
    const std::string copy = scratch / "copy.png", sidecar = Settings::sidecarOf(path);
    Session session{dataFolder()};
};

TEST_F(SessionPhotographTest, AnotherOneUnderTheSameNameStartsAnewAndTheFirstOnesHistoryComesBackWithIt) {
    fs::copy_file(path, copy);
    edit(0.25f);
    fs::remove(sidecar);
    replaceBy(other);
    EXPECT_EQ(seen(), 0);
    EXPECT_EQ(session.history()->count(), 0);
    edit(0.5f);
    fs::rename(sidecar, sidecar + ".kept");
    replaceBy(copy);
    seen();
    EXPECT_EQ(session.history()->text(0), "Light: Brightness");
    session.history()->setIndex(1);
    EXPECT_EQ(session.settings().light.brightness, 0.25f);
    ASSERT_TRUE(session.saveNow());
    session.close();
    replaceBy(other);
    fs::rename(sidecar + ".kept", sidecar);
    EXPECT_EQ(seen(), 0.5f);
    EXPECT_EQ(session.history()->count(), 1);
}

TEST_F(SessionPhotographTest, AnotherOneThatIsOnlyLookedAtCostsTheFirstOneNothing) {
    fs::copy_file(path, copy);
    edit(0.25f);
    fs::rename(sidecar, sidecar + ".kept");
    replaceBy(other);
    EXPECT_EQ(seen(), 0);
    session.close();
    replaceBy(copy);
    fs::rename(sidecar + ".kept", sidecar);
    EXPECT_EQ(seen(), 0.25f);
    EXPECT_EQ(session.history()->count(), 1);
}

TEST_F(SessionPhotographTest, AnEarlierSidecarThatIsPutBackCounts) {
    edit(0.25f);
    fs::copy_file(sidecar, sidecar + ".backup");
    edit(0.5f);
    fs::rename(sidecar + ".backup", sidecar);
    EXPECT_EQ(seen(), 0.25f);
    ASSERT_EQ(session.history()->count(), 2);
    session.redo();
    EXPECT_EQ(session.settings().light.brightness, 0.5f);
}

TEST_F(SessionPhotographTest, AnotherTimeOfModificationAndACopyKeepTheHistory) {
    fs::copy_file(path, copy);
    edit(0.25f);
    fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(5));
    EXPECT_EQ(seen(), 0.25f);
    EXPECT_EQ(session.history()->count(), 1);
    fs::remove(path);
    fs::copy_file(copy, path);
    EXPECT_EQ(seen(), 0.25f);
    EXPECT_EQ(session.history()->count(), 1);
}

TEST_F(SessionPhotographTest, NewMetadataKeepTheHistoryWhereThereIsASidecar) {
    edit(0.25f);
    std::ofstream(path, std::ios::app) << "metadata";
    EXPECT_EQ(seen(), 0.25f);
    EXPECT_EQ(session.history()->count(), 1);
    edit(0.5f);
    fs::remove(sidecar);
    EXPECT_EQ(seen(), 0);
    EXPECT_EQ(session.history()->count(), 3) << "it is that of the new content now";
}

TEST_F(SessionPhotographTest, WithoutItsSidecarItOpensAsItWasAndEveryStepIsKept) {
    edit(0.25f);
    session.open(path);
    session.setValue(slider("brightness"), 0.5f);
    session.undo();
    ASSERT_TRUE(session.saveNow());
    fs::remove(sidecar);
    EXPECT_EQ(seen(), 0);
    ASSERT_EQ(session.history()->count(), 3);
    EXPECT_EQ(session.history()->text(2), "Settings file removed");
    EXPECT_FALSE(fs::exists(sidecar)) << "nothing has been done yet";
    session.undo();
    EXPECT_EQ(session.settings().light.brightness, 0.5f);
    session.undo();
    EXPECT_EQ(session.settings().light.brightness, 0.25f);
    ASSERT_TRUE(session.saveNow());
    EXPECT_EQ(Settings::load(sidecar).light.brightness, 0.25f);
}

TEST_F(SessionPhotographTest, ASidecarThatCouldNotBeWrittenIsNotOneThatWasRemoved) {
    edit(0.25f);
    fs::remove(sidecar);
    fs::create_directories(sidecar);  // in the way
    session.open(path);
    session.setValue(slider("brightness"), 0.5f);
    session.m_sidecarBroken = false;
    EXPECT_FALSE(session.saveNow());
    fs::remove(sidecar);
    Session later(dataFolder());
    EXPECT_EQ(later.settingsOf(path).light.brightness, 0.5f) << "for exports";
    later.open(path);
    EXPECT_EQ(later.settings().light.brightness, 0.5f);
}

TEST_F(SessionPhotographTest, ItsThumbnailShowsSettingsThatAreInNoSidecarYet) {
    session.open(path);
    fs::create_directories(sidecar);  // in the way
    session.setValue(slider("brightness"), 0.5f);
    EXPECT_FALSE(session.saveNow());
    EXPECT_EQ(session.savedSettingsReader()(path).light.brightness, 0.5f) << "while they wait";
    fs::remove(sidecar);
    Session later(dataFolder());
    const auto latest = later.savedSettingsReader();
    EXPECT_EQ(latest(path).light.brightness, 0.5f) << "of the history";
    Settings bright;
    bright.light.brightness = 0.25f;
    bright.save(sidecar);
    EXPECT_EQ(latest(path).light.brightness, 0.25f);
    fs::remove(sidecar);
    replaceBy(other);
    EXPECT_EQ(latest(path), Settings()) << "another photograph";
}

TEST_F(SessionPhotographTest, ItsThumbnailShowsNoSettingsWhoseSidecarWasRemoved) {
    edit(0.25f);
    EXPECT_EQ(session.savedSettingsReader()(path).light.brightness, 0.25f);
    fs::remove(sidecar);
    EXPECT_EQ(session.savedSettingsReader()(path), Settings());
}

TEST_F(SessionPhotographTest, SettingsThatCouldNotBeSavedDoNotReachAnotherOneUnderTheSameName) {
    fs::copy_file(path, copy);
    session.open(path);
    fs::create_directories(sidecar);  // in the way
    session.setValue(slider("brightness"), 0.5f);
    EXPECT_FALSE(session.saveNow());
    session.close();
    fs::remove(sidecar);
    replaceBy(other);
    EXPECT_EQ(seen(), 0) << "while they wait";
    session.close();
    session.m_saver.retry();
    session.m_saver.flush();
    EXPECT_FALSE(fs::exists(sidecar));
    EXPECT_EQ(seen(), 0);
    session.close();
    replaceBy(copy);
    EXPECT_EQ(seen(), 0.5f);
}

TEST_F(SessionPhotographTest, AHistoryOfAnEarlierReleaseIsKeptButCountsOnlyWithItsSidecar) {
    edit(0.25f);
    const std::string journal = session.m_saver.journalOf(path);
    const auto state = std::make_shared<const State>(Settings::load(sidecar));
    fs::remove(journal);
    Journal(journal).write({{std::make_shared<const State>(Settings()), state}, {"Brightness"}, 1}, {});
    EXPECT_EQ(seen(), 0.25f);
    EXPECT_EQ(session.history()->count(), 1);
    session.close();
    fs::remove(sidecar);
    EXPECT_EQ(seen(), 0);
    session.undo();
    EXPECT_EQ(session.settings().light.brightness, 0.25f);
}

TEST_F(SessionPhotographTest, AFingerprintIsOfTheContent) {
    fs::copy_file(path, copy);
    EXPECT_EQ(fingerprintOf(path), fingerprintOf(copy));
    EXPECT_NE(fingerprintOf(path), fingerprintOf(other));
    std::fstream(copy, std::ios::in | std::ios::out | std::ios::binary).seekp(-1, std::ios::end).put('x');
    EXPECT_NE(fingerprintOf(path), fingerprintOf(copy));
    EXPECT_EQ(fingerprintOf(scratch / "none"), "");
    EXPECT_EQ(fingerprintOf(scratch / "."), "");
    std::ofstream(scratch / "short") << "a";
    EXPECT_NE(fingerprintOf(scratch / "short"), "");
}

}  // namespace
}  // namespace kestrova::studio
