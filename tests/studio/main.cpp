#include <gtest/gtest.h>

#include <QApplication>

#include "tests/studio/child.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    QApplication::setApplicationName("kestrova-studio");
    QApplication::setOrganizationName("kestrova-tests");
    if (argc == 4 && argv[1] == std::string("edit-until-killed"))
        return kestrova::studio::editUntilKilled(argv[2], argv[3]);
    return RUN_ALL_TESTS();
}
