#include "studio/old_histories.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "tests/studio/session_fixture.h"

namespace kestrova::studio {
namespace {

namespace fs = std::filesystem;

/// Journals of 1000 bytes; "0.journal" is the newest one.
class OldHistories : public Home {
protected:
    std::string journal(int age, bool inSidecar = true) {
        const std::string path = scratch / (std::to_string(age) + ".journal");
        const std::string end = inSidecar ? "{\"at\":1,\"sidecar\":true}\n" : "{\"at\":1}\n";
        std::ofstream(path) << std::string(1000 - end.size(), ' ') << end;
        fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(age));
        return path;
    }
    void remove(std::uintmax_t mostBytes, const std::string& open = {}) {
        removeOldHistories(scratch.path(), open, mostBytes, m_mutex);
    }

    QMutex m_mutex;
};

TEST_F(OldHistories, GoOldestFirstUntilTheRestIsWithinTheBound) {
    for (const int age : {3, 0, 4, 2, 1}) journal(age);
    remove(5000);
    EXPECT_EQ(scratch.names().size(), 5u);
    remove(3000);
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"0.journal", "1.journal", "2.journal"}));
}

TEST_F(OldHistories, ThatOfTheOpenPhotographStays) {
    journal(0);
    const std::string open = journal(1);
    journal(2);
    remove(0, open);
    EXPECT_EQ(scratch.names(), std::vector<std::string>{"1.journal"});
}

TEST_F(OldHistories, ThoseWhoseSettingsAreInNoSidecarStay) {
    journal(0);
    journal(1, false);
    remove(0);
    EXPECT_EQ(scratch.names(), std::vector<std::string>{"1.journal"});
}

TEST_F(OldHistories, ThoseThatArePutAsideStay) {
    fs::rename(journal(0), scratch / "0.journal.abc");
    journal(1);
    remove(0);
    EXPECT_EQ(scratch.names(), std::vector<std::string>{"0.journal.abc"});
}

TEST_F(OldHistories, OtherFilesAndAFolderThatIsNotThereAreLeftAlone) {
    std::ofstream(scratch / "notes") << "a";
    remove(0);
    EXPECT_EQ(scratch.names(), std::vector<std::string>{"notes"});
    EXPECT_NO_THROW(removeOldHistories(scratch / "none", {}, 0, m_mutex));
}

TEST_F(SessionTest, AHistoryThatWasSavedSaysThatItsSidecarHoldsItsSettings) {
    const std::string path = photograph();
    session->open(path);
    session->setValue(photo::slider("brightness"), 0.25f);
    ASSERT_TRUE(session->saveNow());
    EXPECT_TRUE(Journal::endsInSidecar(session->m_saver.journalOf(path)));
    fs::remove(photo::Settings::sidecarOf(path));
    fs::create_directories(photo::Settings::sidecarOf(path));  // in the way
    session->setValue(photo::slider("brightness"), 0.5f);
    EXPECT_FALSE(session->saveNow());
    EXPECT_FALSE(Journal::endsInSidecar(session->m_saver.journalOf(path)));
}

TEST_F(SessionTest, OldHistoriesAreRemovedOnceAPhotographIsOpen) {
    const std::string old = dataFolder() + "/old.journal";
    fs::create_directories(dataFolder());
    std::ofstream(old) << "{\"at\":1,\"sidecar\":true}\n";
    fs::resize_file(old, kMostBytesOfHistories + 1);
    std::ofstream(old, std::ios::app) << "{\"at\":1,\"sidecar\":true}\n";
    session->open(photograph());
    session->m_saver.flush();
    EXPECT_FALSE(fs::exists(old));
}

}  // namespace
}  // namespace kestrova::studio
