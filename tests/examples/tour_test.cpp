#include <QRegularExpression>
#include <QSet>
#include <QString>

#include "program.h"

namespace {

class TourTest : public ProgramTest {
protected:
    void SetUp() override {
        run = runProgram(KESTROVA_TOUR, {});
        ASSERT_EQ(run.code, 0) << run.err.toStdString();
        EXPECT_EQ(run.err, "");
    }

    /// The number that stands after `text` in what the tour says.
    double said(const QString& text) const {
        const auto found =
            QRegularExpression(QRegularExpression::escape(text) + R"( *(-?[0-9.]+))").match(QString::fromUtf8(run.out));
        EXPECT_TRUE(found.hasMatch()) << text.toStdString() << " in\n" << run.out.toStdString();
        return found.captured(1).toDouble();
    }

    Outcome run;
};

}  // namespace

TEST_F(TourTest, EverySubsystemHasItsLine) {
    for (const char* subsystem : {"frame", "pictures", "resizing", "free", "curves", "filters", "detail", "masks"})
        EXPECT_EQ(run.out.count((QByteArray(subsystem).leftJustified(10) + "| ")), 1) << subsystem;
}

TEST_F(TourTest, VisitsEveryExportedName) {
    const QString source = QString::fromUtf8(bytesOf(KESTROVA_TOUR_SOURCE));
    // Classes and free functions; a class has a line for each of its operations.
    auto lines = QRegularExpression(R"(^(\w+)(?:::|\())", QRegularExpression::MultilineOption)
                     .globalMatch(QString::fromUtf8(bytesOf(KESTROVA_INTERFACE)));
    QSet<QString> names;
    while (lines.hasNext()) names.insert(lines.next().captured(1));
    EXPECT_EQ(names.size(), 45);
    for (const QString& name : names)
        EXPECT_TRUE(source.contains(QRegularExpression("\\b" + name + "\\b"))) << name.toStdString();
}

TEST_F(TourTest, WhatItSaysIsSound) {
    EXPECT_EQ(said("half of a half is"), 250);
    EXPECT_GT(said("TPImage"), 30);
    EXPECT_GT(said("guided by Y"), said("plain"));
    EXPECT_GT(said("by RGB"), 25);
    EXPECT_NEAR(said("spline of x^2 at 0.6:"), 0.36, 0.0002);
    EXPECT_EQ(said("2 + 3 ="), 5);
    EXPECT_NEAR(said("solved x ="), 1.0 / 11, 0.0001);
    EXPECT_NEAR(said(", y ="), 7.0 / 11, 0.0001);
    const double weave = said("filters   | weave of"), rim = said("% and rim of");
    for (const char* filter : {"guided", "bilateral", "local Laplacian", "least squares"}) {
        SCOPED_TRACE(filter);
        const auto found = QRegularExpression(QString("\\| weave.*%1 ([0-9.]+) and ([0-9.]+)").arg(filter))
                               .match(QString::fromUtf8(run.out));
        EXPECT_LT(found.captured(1).toDouble(), weave / 2);
        EXPECT_NEAR(found.captured(2).toDouble(), rim, 0.1 * rim);
    }
    EXPECT_NEAR(said("half of black leaves"), 100 * (1 - 128.0 / 255), 0.1);
    EXPECT_EQ(said("100 x 1.5 is"), 150);
    EXPECT_LT(said("blurred"), said("free      | weave of") / 4);
    EXPECT_GT(said("sharpened"), said("free      | weave of"));
    EXPECT_EQ(said("detail of 20 becomes"), 3.5 * 20);
    EXPECT_EQ(said(", of 5000"), 3.5 * 5000);
    // A quarter of brightness is a quarter of a fifth of the scale.
    EXPECT_NEAR(said(", lit"), said("mean light") + 0.05, 0.011);
    EXPECT_NEAR(said("negative"), 1 - said("mean light"), 0.011);
    EXPECT_LT(said("convolution pyramid leaves"), rim);
    EXPECT_NEAR(said("saturation -0.5 leaves"), 50, 5);
    EXPECT_GT(said("boosted to"), said("detail    | weave of"));
    EXPECT_EQ(said("after undo"), 0);
}
