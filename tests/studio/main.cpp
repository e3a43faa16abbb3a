#include <gtest/gtest.h>

#include <QApplication>

#include "studio/memory_settings.h"
#include "studio/widgets/background.h"
#include "tests/studio/child.h"
#include "tests/studio/pace.h"

int main(int argc, char** argv) {
    kestrova::studio::keepLargeBlocksOutOfArenas();
    testing::InitGoogleTest(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        kestrova::studio::paceOptions().check |= argv[i] == std::string("--check");
        kestrova::studio::paceOptions().busy |= argv[i] == std::string("--busy");
    }
    if (kestrova::studio::paceOptions().busy) kestrova::studio::startBusyProcess();
    kestrova::studio::answerFirst();
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    QApplication::setApplicationName("kestrova-studio");
    QApplication::setOrganizationName("kestrova-tests");
    if (argc == 4 && argv[1] == std::string("edit-until-killed"))
        return kestrova::studio::editUntilKilled(argv[2], argv[3]);
    return RUN_ALL_TESTS();
}
