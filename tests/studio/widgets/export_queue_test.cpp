#include "studio/widgets/export_queue.h"

#include <gtest/gtest.h>

#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <filesystem>

#include "photo/read.h"
#include "photo/write.h"
#include "studio/widgets/export_panel.h"
#include "studio/widgets/pixels.h"
#include "tests/apps/program.h"
#include "tests/photo/files.h"
#include "tests/studio/widgets/hand.h"

namespace kestrova::studio {
namespace {

namespace fs = std::filesystem;
using State = ExportQueue::State;

const std::string kLarge = std::string(KESTROVA_PHOTOS) + "/dandelion_5312x2988.jpg";

class Exports : public testing::Test {
protected:
    ExportJob job(const std::string& source, const std::string& target) {
        if (!fs::exists(source)) photo::writePhotograph(photo::colourful(120, 80), source);
        ExportJob made;
        made.source = fileName(source);
        made.target = fileName(target);
        made.settings.light.contrast = 0.3f;
        return made;
    }
    bool waitForAll(const ExportQueue& queue) {
        return waitUntil([&] { return queue.isIdle(); });
    }
    static QString text(const ExportQueue& queue, int row, int column = ExportQueue::StateColumn,
                        int role = Qt::DisplayRole) {
        return queue.index(row, column).data(role).toString();
    }

    photo::Scratch scratch;
};

TEST_F(Exports, RunInTheOrderInWhichTheyAreAdded) {
    ExportQueue queue;
    QStringList order;
    QObject::connect(&queue, &ExportQueue::finished,
                     [&](const QString& source, const QString&, State state, const QString&) {
                         EXPECT_EQ(state, State::done);
                         order << source.section('/', -1);
                     });
    queue.add({job(scratch / "b.png", scratch / "out/b.jpg"), job(scratch / "a.png", scratch / "out/a.jpg")});
    queue.add(job(scratch / "c.png", scratch / "out/c.tif"));
    EXPECT_EQ(queue.state(0), State::running);
    EXPECT_EQ(queue.state(2), State::waiting);
    EXPECT_EQ(queue.unfinished(), 3);
    ASSERT_TRUE(waitForAll(queue));
    EXPECT_EQ(order, QStringList({"b.png", "a.png", "c.png"}));
    EXPECT_EQ(text(queue, 1), "done");
    EXPECT_EQ(text(queue, 1, ExportQueue::SourceColumn), "a.png");
    EXPECT_EQ(photo::readPhotograph(scratch / "out/c.tif").pixels.size(), cv::Size(120, 80));
}

TEST_F(Exports, WriteTheBytesOfTheCommandLineProgram) {
    const std::string source = scratch / "a.jpg";
    photo::writePhotograph(photo::colourful(200, 150), source);
    photo::Settings settings;
    settings.light.shadows = 0.4f;
    settings.medium.midtones.strength = 0.5f;
    settings.colour.vibrance = 0.3f;
    settings.crop = {0.1, 0.1, 0.7, 0.8};
    settings.rotate = 90;
    settings.save(photo::Settings::sidecarOf(source));
    struct Case {
        std::string name;
        std::vector<std::string> arguments;
        photo::DevelopFileOptions options;
    };
    std::vector<Case> cases(4);
    cases[0] = {"plain.jpg", {}, {}};
    cases[1] = {"small.jpg", {"--quality", "70", "--profile", "p3", "--metadata", "none"}, {}};
    cases[1].options.quality = 70;
    cases[1].options.profile = photo::Profile::displayP3();
    cases[1].options.metadata = photo::MetadataChoice::none;
    cases[2] = {"deep.png", {"--bits", "16", "--metadata", "copyright"}, {}};
    cases[2].options.bits = 16;
    cases[2].options.metadata = photo::MetadataChoice::copyright;
    cases[3] = {"web.webp", {"--quality", "80"}, {}};
    cases[3].options.quality = 80;
    ExportQueue queue;
    for (Case& c : cases) {
        std::vector<std::string> arguments = {source, "-o", scratch / ("develop_" + c.name), "--sidecars"};
        arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
        const photo::ProgramRun run = photo::runDevelop(arguments);
        ASSERT_EQ(run.code, 0) << run.err;
        queue.add(ExportJob{fileName(source), fileName(scratch / c.name), settings, c.options, false});
    }
    ASSERT_TRUE(waitForAll(queue));
    for (const Case& c : cases)
        EXPECT_EQ(photo::bytesOf(scratch / c.name), photo::bytesOf(scratch / ("develop_" + c.name))) << c.name;
}

TEST_F(Exports, AFailureSaysWhyAndTheOthersAreDone) {
    photo::writeBytes(scratch / "bad.jpg", {0xff, 0xd8, 0xff, 0xe0, 1, 2, 3});
    photo::writeBytes(scratch / "file", {1});
    ExportQueue queue;
    queue.add({job(scratch / "bad.jpg", scratch / "1.jpg"), job(scratch / "a.png", scratch / "file/2.jpg"),
               job(scratch / "a.png", scratch / "3.bmp"), job(scratch / "a.png", scratch / "4.jpg")});
    ASSERT_TRUE(waitForAll(queue));
    for (int row = 0; row < 3; ++row) {
        EXPECT_EQ(queue.state(row), State::failed);
        EXPECT_TRUE(text(queue, row).startsWith("failed: "));
    }
    EXPECT_EQ(text(queue, 0), "failed: bad.jpg is damaged.");
    EXPECT_EQ(queue.state(3), State::done);
    EXPECT_FALSE(fs::exists(scratch / "1.jpg"));
}

TEST_F(Exports, NeverReplaceTheirOriginal) {
    const std::string source = scratch / "a.png";
    ExportQueue queue;
    queue.add(job(source, source));
    const auto before = photo::bytesOf(source);
    queue.add(job(source, scratch / "./a.png"));
    ASSERT_TRUE(waitForAll(queue));
    EXPECT_EQ(queue.state(0), State::failed);
    EXPECT_EQ(queue.state(1), State::failed);
    EXPECT_EQ(photo::bytesOf(source), before);
}

TEST_F(Exports, ReplaceWhatIsThereByThenOnlyIfTheyMay) {
    ExportQueue queue;
    queue.add({job(scratch / "a.png", scratch / "1.jpg"), job(scratch / "b.png", scratch / "1.jpg")});
    ASSERT_TRUE(waitForAll(queue));
    EXPECT_EQ(queue.state(0), State::done);
    EXPECT_EQ(queue.state(1), State::failed);
    EXPECT_EQ(text(queue, 1), "failed: 1.jpg is there already.");
    const auto before = photo::bytesOf(scratch / "1.jpg");
    ExportJob third = job(scratch / "a.png", scratch / "1.jpg");
    third.settings.light.brightness = 0.5f;
    third.replace = true;
    queue.add(third);
    ASSERT_TRUE(waitForAll(queue));
    EXPECT_EQ(queue.state(2), State::done);
    EXPECT_NE(photo::bytesOf(scratch / "1.jpg"), before);
}

TEST_F(Exports, OneThatWaitsIsCancelledAtOnce) {
    ExportQueue queue;
    queue.add({job(scratch / "a.png", scratch / "1.jpg"), job(scratch / "a.png", scratch / "2.jpg"),
               job(scratch / "a.png", scratch / "3.jpg")});
    queue.cancel(1);
    EXPECT_EQ(queue.state(1), State::cancelled);
    EXPECT_EQ(queue.unfinished(), 2);
    ASSERT_TRUE(waitForAll(queue));
    EXPECT_TRUE(fs::exists(scratch / "1.jpg"));
    EXPECT_FALSE(fs::exists(scratch / "2.jpg"));
    EXPECT_TRUE(fs::exists(scratch / "3.jpg"));
}

TEST_F(Exports, OneThatRunsStopsAndLeavesNothingAndTheNextOneIsDone) {
    ExportQueue queue;
    queue.add({job(kLarge, scratch / "1.jpg"), job(scratch / "a.png", scratch / "2.jpg")});
    ASSERT_TRUE(waitUntil([&] { return queue.index(0, 0).data(ExportQueue::ProgressRole).toInt() > 0; }));
    queue.cancel(0);
    EXPECT_EQ(text(queue, 0), "stopping");
    ASSERT_TRUE(waitForAll(queue));
    EXPECT_EQ(queue.state(0), State::cancelled);
    EXPECT_EQ(queue.state(1), State::done);
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"2.jpg", "a.png"}));
}

TEST_F(Exports, AllAreCancelledTogether) {
    ExportQueue queue;
    QSignalSpy unfinished(&queue, &ExportQueue::unfinishedChanged);
    queue.add({job(kLarge, scratch / "1.jpg"), job(kLarge, scratch / "2.jpg"), job(kLarge, scratch / "3.jpg")});
    queue.cancelAll();
    ASSERT_TRUE(waitForAll(queue));
    for (int row = 0; row < 3; ++row) EXPECT_EQ(queue.state(row), State::cancelled);
    EXPECT_EQ(unfinished.last(), QVariantList{0});
    queue.clearFinished();
    EXPECT_EQ(queue.rowCount(), 0);
    EXPECT_EQ(scratch.names(), std::vector<std::string>());
}

TEST_F(Exports, FinishedOnesAreClearedAndTheOthersStay) {
    ExportQueue queue;
    queue.add(job(scratch / "a.png", scratch / "1.jpg"));
    ASSERT_TRUE(waitForAll(queue));
    queue.add({job(kLarge, scratch / "2.jpg"), job(kLarge, scratch / "3.jpg")});
    queue.clearFinished();
    EXPECT_EQ(queue.rowCount(), 2);
    EXPECT_EQ(text(queue, 0, ExportQueue::TargetColumn), "2.jpg");
    EXPECT_EQ(queue.index(0, ExportQueue::TargetColumn).data(Qt::ToolTipRole), fileName(scratch / "2.jpg"));
    queue.cancelAll();
    ASSERT_TRUE(waitForAll(queue));
}

TEST_F(Exports, StopWhenTheQueueGoes) {
    {
        ExportQueue queue;
        queue.add({job(kLarge, scratch / "1.jpg"), job(kLarge, scratch / "2.jpg")});
    }
    EXPECT_EQ(scratch.names(), std::vector<std::string>());
}

TEST_F(Exports, ThePanelShowsTheOneThatRunsInFull) {
    ExportQueue queue;
    ExportPanel panel(&queue);
    panel.resize(panel.minimumSizeHint());
    panel.show();
    std::vector<ExportJob> jobs;
    for (int i = 0; i < 30; ++i) jobs.push_back(job(scratch / "a.png", scratch / (std::to_string(i) + ".jpg")));
    jobs.push_back(job(kLarge, scratch / "large.jpg"));
    queue.add(jobs);
    ASSERT_TRUE(waitUntil([&] { return queue.state(30) != State::waiting; }));
    QCoreApplication::processEvents();
    const QRect row = panel.m_table->visualRect(queue.index(30, ExportQueue::StateColumn));
    EXPECT_TRUE(panel.m_table->viewport()->rect().contains(row));
    const int text = panel.fontMetrics().horizontalAdvance("done, with notes");
    EXPECT_GT(row.width(), text);
}

TEST_F(Exports, AreCancelledFromThePanel) {
    ExportQueue queue;
    ExportPanel panel(&queue);
    EXPECT_FALSE(panel.m_cancel->isEnabled());
    EXPECT_FALSE(panel.m_cancelAll->isEnabled());
    queue.add({job(kLarge, scratch / "1.jpg"), job(scratch / "a.png", scratch / "2.jpg")});
    EXPECT_TRUE(panel.m_cancelAll->isEnabled());
    panel.m_table->selectRow(0);
    ASSERT_TRUE(panel.m_cancel->isEnabled());
    panel.m_cancel->click();
    ASSERT_TRUE(waitForAll(queue));
    EXPECT_EQ(queue.state(0), State::cancelled);
    EXPECT_EQ(queue.state(1), State::done);
    panel.m_clear->click();
    EXPECT_EQ(queue.rowCount(), 0);
    EXPECT_FALSE(panel.m_clear->isEnabled());
}

}  // namespace
}  // namespace kestrova::studio
