#include <gtest/gtest.h>

#include <QApplication>
#include <QTemporaryDir>

// Nothing of the person who runs the tests is read or written: settings and caches live in a folder of their own.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const QTemporaryDir home;
    for (const char* variable : {"XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"})
        qputenv(variable, QFile::encodeName(home.filePath(variable)));
    qunsetenv("KESTROVA_SCREEN_PROFILE");
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    QApplication::setOrganizationName("kestrova");
    QApplication::setApplicationName("kestrova-studio-tests");
    return RUN_ALL_TESTS();
}
