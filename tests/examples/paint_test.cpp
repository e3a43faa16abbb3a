#include <QImage>

#include "program.h"

namespace {

class PaintTest : public ProgramTest {
protected:
    Outcome paint(const QByteArray& strokes, const QStringList& more = {}) {
        const QStringList files = {photo("dandelion_768x512.png"), scratch("out.png")};
        return runProgram(KESTROVA_PAINT,
                          files + QStringList{"--strokes", written(strokes, "s.txt"), "--quiet"} + more);
    }
    QImage mask(const QByteArray& strokes) {
        const Outcome outcome = paint(strokes, {"--mask", scratch("mask.png")});
        EXPECT_EQ(outcome.code, 0) << outcome.err.toStdString();
        return QImage(scratch("mask.png"));
    }
    void expectRefusal(const Outcome& outcome, const QByteArray& reason) {
        EXPECT_EQ(outcome.code, 2);
        EXPECT_TRUE(outcome.err.startsWith("kestrova-paint: ")) << outcome.err.toStdString();
        EXPECT_TRUE(outcome.err.contains(reason)) << outcome.err.toStdString();
        EXPECT_EQ(outcome.err.count('\n'), 1);
        EXPECT_FALSE(files().contains("out.png"));
    }
};

}  // namespace

TEST_F(PaintTest, MaskHasHalfTheSizeAndHoldsTheFill) {
    const QImage filled = mask("fill 37\n");
    EXPECT_EQ(filled.size(), QSize(384, 256));
    EXPECT_EQ(qGray(filled.pixel(0, 0)), 37);
    EXPECT_EQ(qGray(filled.pixel(383, 255)), 37);
}

TEST_F(PaintTest, StrokePaintsAlongItsPoints) {
    const QImage painted = mask("# a line\nfill 0\nstroke value=200 outer=40 inner=40 : 100,100 500,100\n");
    for (int x = 50; x <= 250; x += 10) EXPECT_EQ(qGray(painted.pixel(x, 50)), 200) << x;
    EXPECT_EQ(qGray(painted.pixel(150, 80)), 0);
}

TEST_F(PaintTest, UndoTakesBackAWholeStrokeAndInvertTurnsTheMaskOver) {
    EXPECT_EQ(mask("fill 0\nstroke : 300,300 400,300\nundo\n"), mask("fill 0\n"));
    EXPECT_EQ(mask("fill 0\ninvert\n"), mask("fill 255\n"));
}

TEST_F(PaintTest, ToleranceKeepsAStrokeFromOtherColours) {
    const QByteArray stroke = "fill 0\nstroke outer=300 inner=200 %1: 384,256\n";
    const QImage all = mask(QByteArray(stroke).replace("%1", ""));
    const QImage some = mask(QByteArray(stroke).replace("%1", "tolerance=2 "));
    long allSum = 0, someSum = 0;
    for (int y = 0; y < all.height(); ++y) {
        for (int x = 0; x < all.width(); ++x) {
            EXPECT_LE(qGray(some.pixel(x, y)), qGray(all.pixel(x, y)));
            allSum += qGray(all.pixel(x, y));
            someSum += qGray(some.pixel(x, y));
        }
    }
    EXPECT_LT(someSum, allSum * 3 / 4);
    EXPECT_GT(someSum, allSum / 100);
}

TEST_F(PaintTest, NothingUnderTheMaskIsThePhotographAndEverythingIsNot) {
    const QImage before(photo("dandelion_768x512.png"));
    ASSERT_EQ(paint("fill 0\n").code, 0);
    const double none = psnr(QImage(scratch("out.png")), before);
    ASSERT_EQ(paint("fill 255\n").code, 0);
    const double all = psnr(QImage(scratch("out.png")), before);
    EXPECT_GT(none, 30);
    EXPECT_LT(all, 25);
}

TEST_F(PaintTest, BlendTakesThePhotographHereAndTheDevelopedOneThere) {
    ASSERT_EQ(paint("fill 0\n").code, 0);
    const QImage plain(scratch("out.png"));
    ASSERT_EQ(paint("fill 255\n").code, 0);
    const QImage developed(scratch("out.png"));
    ASSERT_EQ(paint("fill 0\nstroke outer=200 inner=200 : 384,256\n").code, 0);
    const QImage blended(scratch("out.png"));
    EXPECT_EQ(blended.pixel(384, 256), developed.pixel(384, 256));
    EXPECT_EQ(blended.pixel(20, 20), plain.pixel(20, 20));
}

TEST_F(PaintTest, DeepPhotographGivesADeepResult) {
    const Outcome outcome = runProgram(KESTROVA_PAINT, {photo("dandelion_768x512_16bit.png"), scratch("out.png"),
                                                        "--strokes", written("fill 128\n", "s.txt"), "--quiet"});
    EXPECT_EQ(outcome.code, 0) << outcome.err.toStdString();
    EXPECT_EQ(QImage(scratch("out.png")).depth(), 64);
}

TEST_F(PaintTest, SmallestPhotographsWork) {
    for (const QSize size : {QSize(1, 1), QSize(1, 9), QSize(9, 1), QSize(7, 5)}) {
        QImage image(size, QImage::Format_RGB32);
        image.fill(qRgb(90, 120, 60));
        const Outcome outcome = runProgram(KESTROVA_PAINT, {saved(image, "in.png"), scratch("small.png"), "--quiet"});
        EXPECT_EQ(outcome.code, 0) << size.width() << "x" << size.height() << ": " << outcome.err.toStdString();
        EXPECT_EQ(QImage(scratch("small.png")).size(), size);
    }
}

TEST_F(PaintTest, ErrorsInStrokesNameTheLine) {
    const struct {
        const char *strokes, *reason;
    } cases[] = {
        {"fill 0\n\nfil 1\n", "s.txt:3: unknown command 'fil'"},
        {"fill\n", "s.txt:1: \"\" is not a number"},
        {"fill 256\n", "s.txt:1: \"256\" is not within 0 to 255"},
        {"fill nan\n", "s.txt:1: \"nan\" is not a number"},
        {"fill 1 2\n", "s.txt:1: '2' is too much"},
        {"stroke outer=10\n", "s.txt:1: a stroke needs ': X,Y' at its end"},
        {"stroke outer=10 inner=11 : 1,1\n", "s.txt:1: inner is larger than outer"},
        {"stroke colour=1 : 1,1\n", "s.txt:1: unknown key 'colour'"},
        {"stroke outer : 1,1\n", "s.txt:1: 'outer' is no KEY=VALUE"},
        {"stroke : 1;1\n", "s.txt:1: '1;1' is no point X,Y"},
        {"stroke : 1,x\n", "s.txt:1: \"x\" is not a number"},
        {"fill 0\nundo\nundo\n", "s.txt:3: nothing is left to undo"},
    };
    for (const auto& c : cases) expectRefusal(paint(c.strokes), c.reason);
}

TEST_F(PaintTest, ErrorsOfTheCommandLineAreOneLine) {
    const QString in = photo("dandelion_768x512.png"), out = scratch("out.png");
    expectRefusal(runProgram(KESTROVA_PAINT, {in}), "IN and OUT are needed");
    expectRefusal(runProgram(KESTROVA_PAINT, {in, out, "--brush"}), "unknown option --brush");
    expectRefusal(runProgram(KESTROVA_PAINT, {in, out, "--strokes"}), "--strokes needs a file");
    expectRefusal(runProgram(KESTROVA_PAINT, {in, out, "--strokes", scratch("none")}), "cannot read");
    expectRefusal(runProgram(KESTROVA_PAINT, {scratch("none.png"), out}), "none.png");
    expectRefusal(runProgram(KESTROVA_PAINT, {in, out, "--mask", scratch("m.tga")}), "m.tga");
}

TEST_F(PaintTest, HelpNamesEveryOptionAndCommand) {
    const Outcome outcome = runProgram(KESTROVA_PAINT, {"--help"});
    EXPECT_EQ(outcome.code, 0);
    for (const char* word : {"--strokes", "--mask", "--quiet", "fill", "invert", "stroke", "undo", "value", "outer",
                             "inner", "opacity", "tolerance"})
        EXPECT_TRUE(outcome.out.contains(word)) << word;
}
