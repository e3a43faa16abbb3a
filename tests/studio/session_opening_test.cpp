#include <gtest/gtest.h>

#include <sys/stat.h>
#include <QCoreApplication>
#include <QSemaphore>
#include <QSignalSpy>
#include <fstream>

#include "studio/session.h"
#include "tests/studio/home.h"

namespace kestrova::studio {
namespace {

using photo::Settings;
using photo::slider;

/// A sidecar that is read as slowly as the test writes it.
class SlowSidecar {
public:
    explicit SlowSidecar(const std::string& photograph) : m_path(Settings::sidecarOf(photograph)) {
        EXPECT_EQ(mkfifo(m_path.c_str(), 0600), 0);
    }
    void arrive(const Settings& settings) { std::ofstream(m_path) << settings.toJson(); }

private:
    std::string m_path;
};

class SessionOpeningTest : public Home {
protected:
    Session session{dataFolder()};
    Settings bright = [] {
        Settings settings;
        settings.light.brightness = 0.25f;
        return settings;
    }();
};

TEST_F(SessionOpeningTest, WaitsForNoDiskAndIsOpenWhenTheSettingsAreThere) {
    const std::string path = photograph();
    SlowSidecar sidecar(path);
    QSignalSpy opened(&session, &Session::opened);
    session.startOpening(path);
    EXPECT_FALSE(session.isOpen());
    EXPECT_EQ(session.path(), path);
    session.setValue(slider("contrast"), 0.5f);
    EXPECT_EQ(session.settings(), Settings()) << "there is nothing to change yet";
    sidecar.arrive(bright);
    ASSERT_TRUE(waitFor([&] { return session.isOpen(); }));
    EXPECT_EQ(opened.count(), 1);
    EXPECT_EQ(session.settings(), bright);
}

TEST_F(SessionOpeningTest, OfTwoThatAreChosenTheNewerIsOpened) {
    const std::string first = photograph(), second = photograph("u76c0g_bliznaca_srgb8.png");
    SlowSidecar sidecar(first);
    session.startOpening(first);
    session.startOpening(second);
    ASSERT_TRUE(waitFor([&] { return session.isOpen(); }));
    sidecar.arrive(bright);
    session.m_reader.waitForDone();
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(session.path(), second);
    EXPECT_EQ(session.settings(), Settings());
}

TEST_F(SessionOpeningTest, WhatIsClosedBeforeItIsOpenStaysClosed) {
    const std::string path = photograph();
    SlowSidecar sidecar(path);
    QSignalSpy opened(&session, &Session::opened), closed(&session, &Session::closed);
    session.startOpening(path);
    session.close();
    EXPECT_FALSE(session.m_isOpening);
    EXPECT_EQ(closed.count(), 1);
    sidecar.arrive(bright);
    session.m_reader.waitForDone();
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(opened.count(), 0);
    EXPECT_TRUE(session.path().empty());
}

TEST_F(SessionOpeningTest, SettingsPastedMeanwhileComeOnTopOfThoseThatAreRead) {
    const std::string path = photograph();
    Settings cropped;
    cropped.crop = {0.1, 0.1, 0.5, 0.5};
    cropped.save(Settings::sidecarOf(path));
    session.startOpening(path);
    session.paste(bright, {path});
    ASSERT_TRUE(waitFor([&] { return session.isOpen(); }));
    session.finishPastes();
    EXPECT_EQ(session.settings().light.brightness, 0.25f);
    EXPECT_EQ(session.settings().crop, cropped.crop);
    EXPECT_EQ(session.history()->count(), 1);
}

TEST_F(SessionOpeningTest, SettingsPastedMeanwhileAreSavedThoughThePhotographIsLeftBeforeItIsOpen) {
    const std::string path = photograph();
    QSemaphore reading;
    session.m_reader.setMaxThreadCount(1);
    session.m_reader.start([&] { reading.acquire(); });
    session.startOpening(path);
    session.paste(bright, {path});
    session.finishPastes();
    const QSignalSpy pasted(&session, &Session::pasted);
    session.startOpening(photograph("u76c0g_bliznaca_srgb8.png"));
    EXPECT_TRUE(waitFor([&] { return pasted.count() == 1; }, 10000));
    reading.release();
    ASSERT_TRUE(session.saveNow());
    EXPECT_EQ(Settings::load(Settings::sidecarOf(path)), bright);
}

}  // namespace
}  // namespace kestrova::studio
