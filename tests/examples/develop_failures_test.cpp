#include <unistd.h>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <csignal>

#include "program.h"

namespace {

const QStringList kOptions = {
    "--small",       "--small-shadows", "--small-midtones", "--medium",   "--medium-shadows", "--medium-midtones",
    "--large",       "--large-shadows", "--large-midtones", "--detail",   "--light",          "--mix",
    "--temperature", "--tint",          "--saturation",     "--vibrance", "--view",           "--step",
    "--compare",     "--quality",       "--quiet",          "--help",     "--version"};

class DevelopFailuresTest : public ProgramTest {
protected:
    void SetUp() override {
        in = saved(QImage(photo("dandelion_768x512.png")).copy(0, 0, 30, 20), "in.png");
        out = written("what was there", "out.png");
    }

    /// Expects exit code 2, a one-line reason that holds `reason`, and everything in the directory as it was.
    void expectRefusal(const QStringList& arguments, const QByteArray& reason,
                       const QProcessEnvironment& environment = programEnvironment()) const {
        SCOPED_TRACE(arguments.join(' ').toStdString());
        const QStringList before = files();
        const Outcome run = runProgram(KESTROVA_DEVELOP, arguments, environment);
        EXPECT_EQ(run.code, 2);
        EXPECT_TRUE(run.err.startsWith("kestrova-develop: ")) << run.err.toStdString();
        EXPECT_TRUE(run.err.contains(reason)) << run.err.toStdString();
        EXPECT_EQ(run.err.count('\n'), 1) << run.err.toStdString();
        EXPECT_TRUE(run.err.endsWith('\n')) << run.err.toStdString();
        EXPECT_EQ(files(), before);
        EXPECT_EQ(bytesOf(out), "what was there");
    }

    /// The same of options on a sound picture, without a progress bar before the reason.
    void expectOptionsRefused(const QStringList& options, const QByteArray& reason) const {
        expectRefusal(QStringList{in, out, "--quiet"} + options, reason);
    }

    QString in, out;
};

}  // namespace

TEST_F(DevelopFailuresTest, HelpTellsOfEveryOptionAndOfNoOther) {
    const Outcome run = runProgram(KESTROVA_DEVELOP, {"--help"});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.err, "");
    QSet<QString> documented;
    auto names = QRegularExpression("--[a-z][a-z-]*").globalMatch(QString::fromUtf8(run.out));
    while (names.hasNext()) documented.insert(names.next().captured());
    EXPECT_EQ(documented, QSet<QString>(kOptions.begin(), kOptions.end()));
    for (const char* name : {"brightness", "contrast", "highlights", "shadows", "whites", "blacks"})
        EXPECT_TRUE(run.out.contains(name)) << name;
    for (const QByteArray& line : run.out.split('\n')) EXPECT_LE(line.size(), 120) << line.toStdString();
}

TEST_F(DevelopFailuresTest, EveryOptionIsKnown) {
    for (const QString& option : kOptions) {
        const Outcome run = runProgram(KESTROVA_DEVELOP, {in, out, option, option == "--quiet" ? "--tint" : "?"});
        EXPECT_FALSE(run.err.contains("unknown option")) << option.toStdString();
    }
}

TEST_F(DevelopFailuresTest, VersionIsTold) {
    const Outcome run = runProgram(KESTROVA_DEVELOP, {"--version"});
    EXPECT_EQ(run.code, 0);
    EXPECT_TRUE(QRegularExpression("^kestrova-develop \\d+\\.\\d+\\.\\d+\n$").match(run.out).hasMatch())
        << run.out.toStdString();
}

TEST_F(DevelopFailuresTest, HelpWinsOverWhatFollows) {
    EXPECT_EQ(runProgram(KESTROVA_DEVELOP, {"--help", "--nonsense"}).code, 0);
}

TEST_F(DevelopFailuresTest, TwoFileNamesAreNeeded) {
    expectRefusal({}, "expected IN and OUT, got 0 file names; see --help");
    expectRefusal({in}, "got 1 file names");
    expectRefusal({in, out, out}, "got 3 file names");
}

TEST_F(DevelopFailuresTest, UnknownOptionsAreRefused) {
    expectOptionsRefused({"--sharpen", "1"}, "unknown option \"--sharpen\"");
    expectOptionsRefused({"-s"}, "unknown option \"-s\"");
    expectOptionsRefused({"--smal=1"}, "unknown option \"--smal\"");
    expectOptionsRefused({"--small-highlights", "1"}, "unknown option");
    expectOptionsRefused({"--quiet=1"}, "--quiet takes no value");
}

TEST_F(DevelopFailuresTest, WhatFollowsTwoDashesIsAFileName) {
    expectRefusal({"--", in, "--tint"}, "--tint: results are written to .png, .jpg and .jpeg files only");
}

TEST_F(DevelopFailuresTest, MissingValuesAreRefused) {
    for (const QString& option : kOptions) {
        if (option == "--quiet" || option == "--help" || option == "--version") continue;
        expectOptionsRefused({option}, (option + " needs a value").toUtf8());
        expectOptionsRefused({option, "--quiet"}, (option + " needs a value").toUtf8());
        expectOptionsRefused({option + "="}, (option + ": ").toUtf8());
    }
}

TEST_F(DevelopFailuresTest, WhatIsNotANumberIsRefused) {
    for (const char* value :
         {"", "a", "1a", "nan", "-nan", "inf", "-inf", "infinity", "0x1", " 1", "1 ", "--1", "+-1", "+"})
        expectOptionsRefused({QString("--tint=") + value}, "is not a number");
    for (const char* option : {"--small=", "--large-midtones=0,", "--light=brightness=", "--mix=0,0,", "--view=0,0,1,",
                               "--step=", "--quality="})
        expectOptionsRefused({QString(option) + "1x"}, "\"1x\" is not a number");
    expectOptionsRefused({"--step", "1.5"}, "--step: \"1.5\" is not a number");
}

TEST_F(DevelopFailuresTest, NumbersOutOfRangeAreRefused) {
    expectOptionsRefused({"--small", "1.51"}, "--small: \"1.51\" is not within -1.5 to 1.5");
    expectOptionsRefused({"--small", "0,-1.6"}, "is not within -1.5 to 1.5");
    expectOptionsRefused({"--small", "1e999"}, "is not within -1.5 to 1.5");
    expectOptionsRefused({"--light", "contrast=1.1"}, "--light: \"1.1\" is not within -1.0 to 1.0");
    expectOptionsRefused({"--mix", "0,0,-2"}, "is not within -1.0 to 1.0");
    expectOptionsRefused({"--temperature", "-1.01"}, "is not within -1.0 to 1.0");
    expectOptionsRefused({"--vibrance", "7"}, "is not within -1.0 to 1.0");
    expectOptionsRefused({"--step", "0"}, "--step: \"0\" is not within 1 to");
    expectOptionsRefused({"--step", "-2"}, "is not within 1 to");
    expectOptionsRefused({"--step", "99999999999999999999"}, "is not within 1 to");
    expectOptionsRefused({"--quality", "0"}, "--quality: \"0\" is not within 1 to 100");
    expectOptionsRefused({"--compare", "0"}, "--compare: \"0\" is not within 1 to 16384");
    expectOptionsRefused({"--quality", "101"}, "is not within 1 to 100");
}

TEST_F(DevelopFailuresTest, ListsOfTheWrongLengthAreRefused) {
    expectOptionsRefused({"--small", "1,1,1"}, "--small: \"1,1,1\" has 3 numbers instead of 1 or 2");
    expectOptionsRefused({"--mix", "1,1"}, "has 2 numbers instead of 3");
    expectOptionsRefused({"--view", "0,0,5"}, "has 3 numbers instead of 4");
}

TEST_F(DevelopFailuresTest, DetailTakesTheNameOfAFilter) {
    for (const QString name : {"median", "Guided", "guided,wls", ""})
        expectOptionsRefused({"--detail=" + name},
                             ("--detail: \"" + name + "\" is not one of guided, bilateral, laplacian, wls").toUtf8());
}

TEST_F(DevelopFailuresTest, LeastSquaresRefuseLargePictures) {
    const QString large = saved(QImage(2001, 2000, QImage::Format_Grayscale8), "large.png");
    expectRefusal({large, out, "--quiet", "--detail", "wls"}, "more than 4 megapixels, too many for wls");
}

TEST_F(DevelopFailuresTest, LightTakesNamedParametersOnly) {
    expectOptionsRefused({"--light", "0.5"}, "--light: \"0.5\" is not of the form name=value");
    expectOptionsRefused({"--light", "gamma=0.5"}, "--light: \"gamma\" is not a parameter of light");
    expectOptionsRefused({"--light", "brightness=0.5,"}, "is not of the form name=value");
}

TEST_F(DevelopFailuresTest, ViewsBeyondThePictureAreRefused) {
    for (const char* view : {"0,0,31,20", "0,0,30,21", "29,0,2,1", "0,19,1,2", "30,0,1,1", "0,20,1,1",
                             "268435456,268435456,268435456,268435456"})
        expectOptionsRefused({"--view", view}, "reaches beyond the picture of 30x20");
    expectOptionsRefused({"--view", "-1,0,5,5"}, "is not within 0 to");
    expectOptionsRefused({"--view", "0,0,0,5"}, "is an empty rectangle");
    expectOptionsRefused({"--view", "0,0,5,0"}, "is an empty rectangle");
}

TEST_F(DevelopFailuresTest, StepsLargerThanTheViewAreRefused) {
    expectOptionsRefused({"--step", "21"}, "a step of 21 leaves nothing of 30x20 pixels");
    expectOptionsRefused({"--view", "3,3,4,9", "--step", "5"}, "a step of 5 leaves nothing of 4x9 pixels");
}

TEST_F(DevelopFailuresTest, FilesThatAreNoPicturesAreRefused) {
    expectRefusal({scratch("missing.png"), out}, "missing.png: there is no such file");
    expectRefusal({"", out}, "there is no such file");
    expectRefusal({scratch(""), out}, "is not a file");
    expectRefusal({"/dev/zero", out}, "/dev/zero: is not a file");
    expectRefusal({written("", "empty.png"), out}, "empty.png: the file is empty");
    expectRefusal({written("P3 1 1 255 0 0 0", "other.png"), out}, "is neither a PNG nor a JPEG picture");
    expectRefusal({written("just some words", "words.jpg"), out}, "is neither a PNG nor a JPEG picture");
    QImage(photo("dandelion_768x512.png")).copy(0, 0, 9, 9).save(scratch("other.bmp"));
    expectRefusal({scratch("other.bmp"), out}, "is neither a PNG nor a JPEG picture");
}

TEST_F(DevelopFailuresTest, TruncatedPicturesAreRefused) {
    const QImage photograph = QImage(photo("dandelion_768x512.png")).copy(0, 0, 200, 150);
    for (const char* name : {"whole.png", "whole.jpg"}) {
        const QByteArray whole = bytesOf(saved(photograph, name));
        for (qsizetype size : {qsizetype(10), qsizetype(30), whole.size() / 4, whole.size() / 2, whole.size() * 9 / 10})
            expectRefusal({written(whole.left(size), "cut.img"), out}, "cut.img: ");
    }
    const QByteArray jpeg = bytesOf(scratch("whole.jpg"));
    expectRefusal({written(jpeg.left(jpeg.size() - 2), "cut.img"), out}, "cut.img: the file is truncated");
}

TEST_F(DevelopFailuresTest, BytesAfterTheEndOfAJpegDoNoHarm) {
    const QByteArray whole = bytesOf(saved(QImage(in), "whole.jpg"));
    const QString more = written(whole + "trailer", "more.jpg");
    EXPECT_EQ(runProgram(KESTROVA_DEVELOP, {more, scratch("result.png")}).code, 0);
}

TEST_F(DevelopFailuresTest, DamagedPicturesAreRefused) {
    QByteArray png = bytesOf(saved(QImage(photo("dandelion_768x512.png")).copy(0, 0, 200, 150), "whole.png"));
    png[png.size() / 2] = static_cast<char>(png[png.size() / 2] ^ 0x55);
    expectRefusal({written(png, "damaged.png"), out}, "damaged.png: ");
}

TEST_F(DevelopFailuresTest, AbsurdSizesAreRefused) {
    QByteArray jpeg = bytesOf(saved(QImage(in), "small.jpg"));
    const qsizetype frame = jpeg.indexOf("\xff\xc0");
    ASSERT_GT(frame, 0);
    jpeg.replace(frame + 5, 4, QByteArray("\xff\xdc\xff\xdc", 4));
    expectRefusal({written(jpeg, "huge.jpg"), out}, "huge.jpg: 65500x65500 pixels are too many");
}

TEST_F(DevelopFailuresTest, TargetsThatCannotBeWrittenAreRefused) {
    expectRefusal({in, scratch("no/such/place.png"), "--quiet"}, "place.png: ");
    ASSERT_TRUE(QDir().mkdir(scratch("directory.png")));
    expectRefusal({in, scratch("directory.png"), "--quiet"}, "directory.png: ");
    if (geteuid() == 0) return;  // who may write everywhere
    ASSERT_TRUE(QDir().mkdir(scratch("closed")));
    QFile::setPermissions(scratch("closed"), QFile::ReadOwner | QFile::ExeOwner);
    expectRefusal({in, scratch("closed/out.png"), "--quiet"}, "out.png: ");
    QFile::setPermissions(scratch("closed"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

TEST_F(DevelopFailuresTest, TargetsOfAnotherKindAreRefused) {
    for (const char* name : {"out.tif", "out.bmp", "out", "png", "out.png.", "out.jpg~"})
        expectRefusal({in, scratch(name)}, "results are written to .png, .jpg and .jpeg files only");
}

TEST_F(DevelopFailuresTest, WhatJpegCannotHoldIsRefused) {
    QImage(70000, 1, QImage::Format_RGB32).save(scratch("long.png"));
    expectRefusal({scratch("long.png"), scratch("long.jpg"), "--quiet"}, "long.jpg: ");
}

TEST_F(DevelopFailuresTest, WhateverTheLibraryThrowsEndsWithOneLine) {
    const struct {
        const char* failure;
        const char* reason;
    } cases[] = {{"text", ": ERROR - some text\n"},
                 {"traced", ": ERROR - some text\n"},
                 {"code", ": the library failed with code 0\n"},
                 {"opencv", "first line"},
                 {"memory", ": there is not enough memory\n"},
                 {"other", ": unknown failure\n"}};
    QProcessEnvironment environment = programEnvironment();
    environment.insert("LD_PRELOAD", KESTROVA_FAILING_LIBRARY);
    environment.insert("ASAN_OPTIONS", "verify_asan_link_order=0");
    for (const auto& c : cases) {
        environment.insert("KESTROVA_FAILURE", c.failure);
        expectRefusal({in, out, "--quiet"}, c.reason, environment);
    }
}

TEST_F(DevelopFailuresTest, ASolverWithoutMemoryEndsWithOneLine) {
    QProcessEnvironment environment = programEnvironment();
    environment.insert("LD_PRELOAD", KESTROVA_FAILING_LIBRARY);
    environment.insert("ASAN_OPTIONS", "verify_asan_link_order=0");
    expectRefusal({in, out, "--detail", "wls", "--quiet"}, ": there is not enough memory\n", environment);
}

TEST_F(DevelopFailuresTest, InterruptsCancelAndLeaveTheTargetAsItWas) {
    for (const int percent : {0, 40}) {
        SCOPED_TRACE(percent);
        QProcess process;
        process.setProcessEnvironment(programEnvironment());
        process.start(KESTROVA_DEVELOP, {photo("dandelion_5312x2988.jpg"), out});
        QByteArray err;
        const auto shown = [&] {
            const qsizetype end = err.lastIndexOf(" %");
            return end < 0 ? -1 : err.mid(end - 3, 3).trimmed().toInt();
        };
        process.setReadChannel(QProcess::StandardError);
        while (shown() < percent && process.waitForReadyRead(60000)) err += process.readAllStandardError();
        ASSERT_GE(shown(), percent) << err.toStdString();
        kill(static_cast<pid_t>(process.processId()), SIGINT);
        ASSERT_TRUE(process.waitForFinished(120000));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.exitCode(), 130);
        err += process.readAllStandardError();
        EXPECT_FALSE(err.contains("kestrova-develop")) << err.toStdString();
        EXPECT_TRUE(err.endsWith('\n')) << err.toStdString();
        EXPECT_EQ(files(), (QStringList{"in.png", "out.png"}));
        EXPECT_EQ(bytesOf(out), "what was there");
    }
}
