#include <QDateTime>
#include <QFileInfo>
#include <QImageReader>

#include "program.h"

namespace {

class DemoTest : public ProgramTest {};

}  // namespace

TEST_F(DemoTest, DevelopsAndPaintsThePhotographOnceAndSaysWhereThePicturesAre) {
    const QStringList arguments = {KESTROVA_DEVELOP, KESTROVA_PAINT, scratch("out")};
    const QString before = scratch("out/before.jpg"), after = scratch("out/after.jpg");

    const Outcome first = runProgram(KESTROVA_DEMO, arguments);
    EXPECT_EQ(first.code, 0) << first.err.toStdString();
    EXPECT_TRUE(first.out.contains(before.toUtf8())) << first.out.toStdString();
    EXPECT_TRUE(first.out.contains(after.toUtf8())) << first.out.toStdString();
    EXPECT_EQ(QImageReader(after).size(), QImageReader(before).size());
    EXPECT_NE(bytesOf(after), bytesOf(before));
    for (const QString& picture : {before, after}) {
        // EXIF's and XMP's author, and the profile.
        EXPECT_GE(bytesOf(picture).count("Clemens Engelhardt"), 3) << picture.toStdString();
        EXPECT_EQ(bytesOf(picture).count("ICC_PROFILE"), 1) << picture.toStdString();
    }
    EXPECT_EQ(QImageReader(scratch("out/before-after.jpg")).size(), QImageReader(KESTROVA_BEFORE_AFTER).size());
    EXPECT_EQ(QImageReader(scratch("out/painted.jpg")).size(), QImageReader(before).size());
    EXPECT_EQ(QImageReader(scratch("out/mask.png")).size(), QSize(2656, 1494));

    const QDateTime written = QFileInfo(after).lastModified();
    const Outcome second = runProgram(KESTROVA_DEMO, arguments);
    EXPECT_EQ(second.code, 0);
    EXPECT_EQ(second.err, "");
    EXPECT_EQ(QFileInfo(after).lastModified(), written);
}
