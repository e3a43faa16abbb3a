#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "photo/read.h"
#include "photo/settings.h"
#include "tests/apps/develop_scratch.h"
#include "tests/apps/program.h"

namespace kestrova::photo {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class DevelopFiles : public DevelopScratch {};

TEST_F(DevelopFiles, NeutralSettingsKeepThePixelsOfLosslessFiles) {
    for (const char* name : {"a.png", "a.tif", "b.png"}) {
        const std::string in = make(name, 61, 43, name[0] == 'a' ? 8 : 16),
                          out = scratch / ("out_" + std::string(name));
        const ProgramRun run = runDevelop({in, "-o", out});
        EXPECT_EQ(run.code, 0) << run.err;
        EXPECT_EQ(run.err, "");
        EXPECT_EQ(run.out, in + " -> " + out + "\n");
        EXPECT_TRUE(same(readPhotograph(in).pixels, readPhotograph(out).pixels));
    }
}

TEST_F(DevelopFiles, SlidersChangeThePicture) {
    const std::string in = make("a.png");
    ASSERT_EQ(runDevelop({in, "-o", scratch / "b.png", "--brightness", "0.5", "--saturation=-1"}).code, 0);
    const cv::Mat before = readPhotograph(in).pixels, after = readPhotograph(scratch / "b.png").pixels;
    EXPECT_GT(cv::mean(after)[1], cv::mean(before)[1]);
}

TEST_F(DevelopFiles, AFolderIsSearchedAndItsTreeKept) {
    make("in/a.jpg");
    make("in/deep/b.png");
    writeBytes(scratch / "in/notes.txt", {'x'});
    const ProgramRun run = runDevelop({scratch / "in", "-d", scratch / "out"});
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_TRUE(fs::exists(scratch / "out/a.jpg"));
    EXPECT_TRUE(fs::exists(scratch / "out/deep/b.png"));
    EXPECT_NE(run.out.find("2 done, 0 up to date, 0 failed"), std::string::npos);
}

TEST_F(DevelopFiles, ResultsInsideASearchedFolderAreNotDevelopedAgain) {
    make("in/a.jpg");
    const Names arguments = {scratch / "in", "-d", scratch / "in/web", "--skip-existing", "--json"};
    EXPECT_EQ(linesOf(runDevelop(arguments).out).at(0)["outcome"], "done");
    const auto again = linesOf(runDevelop(arguments).out);
    ASSERT_EQ(again.size(), 1u);
    EXPECT_EQ(again[0]["outcome"], "skipped");
}

TEST_F(DevelopFiles, LinksInACircleKeepNoFolderFromBeingSearched) {
    make("in/a.png");
    fs::create_symlink("circle", scratch / "in/circle");
    fs::create_symlink("nowhere.jpg", scratch / "in/b.jpg");
    const ProgramRun run = runDevelop({scratch / "in", "-d", scratch / "out"});
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_TRUE(fs::exists(scratch / "out/a.png"));
}

TEST_F(DevelopFiles, PresetsMayStandBeforeThePhotograph) {
    const std::string in = make("a.png");
    const ProgramRun run = runDevelop({"--preset", "natural", "--preset", "portrait", in, "-o", scratch / "b.png"});
    EXPECT_EQ(run.code, 0) << run.err;
    ASSERT_EQ(runDevelop({"--preset", "natural", in, "-o", scratch / "c.png"}).code, 0);
    EXPECT_FALSE(same(readPhotograph(scratch / "b.png").pixels, readPhotograph(scratch / "c.png").pixels));
}

TEST_F(DevelopFiles, FormatBitsQualityAndProfileAreObeyed) {
    const std::string in = make("a.png", 60, 40, 16);
    ASSERT_EQ(runDevelop({in, "-d", scratch / "out", "--format", "tif", "--bits", "8", "--profile", "p3"}).code, 0);
    const Photograph read = readPhotograph(scratch / "out/a.tif");
    EXPECT_EQ(read.sourceBits, 8);
    EXPECT_EQ(read.profile, Profile::displayP3());
    ASSERT_EQ(runDevelop({in, "-o", scratch / "q.jpg", "--quality", "30"}).code, 0);
    ASSERT_EQ(runDevelop({in, "-o", scratch / "Q.jpg", "--quality", "95"}).code, 0);
    EXPECT_LT(fs::file_size(scratch / "q.jpg"), fs::file_size(scratch / "Q.jpg"));
}

TEST_F(DevelopFiles, SizeIsThatOfTheLongerSide) {
    const std::string in = make("a.png", 60, 40);
    ASSERT_EQ(runDevelop({in, "-o", scratch / "b.png", "--size", "30"}).code, 0);
    EXPECT_EQ(readPhotograph(scratch / "b.png").pixels.size(), cv::Size(30, 20));
}

TEST_F(DevelopFiles, OriginalsAreReplacedInPlaceAlone) {
    const std::string in = make("a.png");
    const auto original = bytesOf(in);
    for (const Names& arguments :
         {Names{in, "-o", in}, Names{in, "-o", in, "--overwrite"}, Names{in, "-d", scratch.path(), "--skip-existing"},
          Names{in, "-o", scratch.path() + "/./a.png"}}) {
        const ProgramRun run = runDevelop(arguments);
        EXPECT_EQ(run.code, 2);
        EXPECT_NE(run.err.find("--in-place"), std::string::npos) << run.err;
        EXPECT_EQ(bytesOf(in), original);
    }
    ASSERT_EQ(::symlink("a.png", (scratch / "link.png").c_str()), 0);
    EXPECT_EQ(runDevelop({in, "-o", scratch / "link.png", "--overwrite"}).code, 2);
    EXPECT_EQ(bytesOf(in), original);
    EXPECT_EQ(runDevelop({in, "--in-place", "--brightness", "0.3"}).code, 0);
    EXPECT_NE(bytesOf(in), original);
    EXPECT_EQ(scratch.names(), (Names{"a.png", "link.png"}));
}

TEST_F(DevelopFiles, APhotographThatLinksLeadToIsReplacedOnce) {
    const std::string once = make("once.png"), file = make("in/b.png");
    fs::create_symlink("b.png", scratch / "in/a.png");
    ASSERT_EQ(runDevelop({"--in-place", once, "--brightness", "0.5"}).code, 0);
    const ProgramRun run = runDevelop({"--in-place", scratch / "in", "--brightness", "0.5", "--json"});
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(linesOf(run.out).size(), 1u);
    EXPECT_TRUE(fs::is_symlink(scratch / "in/a.png"));
    EXPECT_TRUE(same(readPhotograph(file).pixels, readPhotograph(once).pixels));
}

TEST_F(DevelopFiles, ResultsThatAreThereStayUnlessTheyMayBeReplaced) {
    const std::string in = make("a.png"), other = make("b.png", 10, 10);
    const auto before = bytesOf(other);
    EXPECT_EQ(runDevelop({in, "-o", other}).code, 2);
    EXPECT_EQ(bytesOf(other), before);
    const ProgramRun run = runDevelop({in, "-o", other, "--skip-existing"});
    EXPECT_EQ(run.code, 2);
    EXPECT_NE(run.err.find("was not made by this program"), std::string::npos) << run.err;
    EXPECT_EQ(bytesOf(other), before);
    EXPECT_EQ(runDevelop({in, "-o", other, "--overwrite"}).code, 0);
    EXPECT_NE(bytesOf(other), before);
}

TEST_F(DevelopFiles, WhatIsUpToDateIsLeftOut) {
    const std::string in = make("a.jpg"), out = scratch / "out";
    const Names again = {in, "-d", out, "--skip-existing", "--json", "--contrast", "0.2"};
    EXPECT_EQ(linesOf(runDevelop(again).out).at(0)["outcome"], "done");
    EXPECT_EQ(linesOf(runDevelop(again).out).at(0)["outcome"], "skipped");
    Names other = again;
    other.back() = "0.3";
    EXPECT_EQ(linesOf(runDevelop(other).out).at(0)["outcome"], "done");
    make("a.jpg", 50, 50);
    EXPECT_EQ(linesOf(runDevelop(other).out).at(0)["outcome"], "done");
    EXPECT_EQ(linesOf(runDevelop(other).out).at(0)["outcome"], "skipped");
}

TEST_F(DevelopFiles, ListsMayEndTheirLinesAsWindowsDoes) {
    const std::string one = make("a.png"), two = make("b.png"), odd = scratch / "c.png\r";
    fs::copy_file(one, odd);
    const std::string lines = one + "\r\n\r\n" + odd + "\n" + two;
    writeBytes(scratch / "list", {lines.begin(), lines.end()});
    const ProgramRun run = runDevelop({"--list", scratch / "list", "-d", scratch / "out", "--format", "png", "--json"});
    EXPECT_EQ(run.code, 0) << run.err;
    const auto done = linesOf(run.out);
    ASSERT_EQ(done.size(), 3u);
    EXPECT_EQ(done[0]["input"], one);
    EXPECT_EQ(done[1]["input"], odd) << "a name that ends so";
    EXPECT_EQ(done[2]["input"], two);
}

TEST_F(DevelopFiles, NamesKeepTheirFoldersBelowTheBase) {
    const std::string one = make("in/one/a.png"), two = make("in/two/a.png"), top = make("in/b.png");
    const std::string list = one + "\n" + two + "\n" + top + "\n";
    writeBytes(scratch / "list", {list.begin(), list.end()});
    const ProgramRun run = runDevelop({"--list", scratch / "list", "--base", scratch / "in", "-d", scratch / "out"});
    EXPECT_EQ(run.code, 0) << run.err;
    for (const char* name : {"out/one/a.png", "out/two/a.png", "out/b.png"}) EXPECT_TRUE(fs::exists(scratch / name));
    const ProgramRun beside = runDevelop({top, "--base", scratch / "in/one", "-d", scratch / "elsewhere"});
    EXPECT_EQ(beside.code, 2);
    EXPECT_NE(beside.err.find("is not below"), std::string::npos) << beside.err;
    EXPECT_EQ(runDevelop({top, "--base", scratch / "in", "-o", scratch / "c.png"}).code, 2) << "it goes with -d";
}

TEST_F(DevelopFiles, NamesOfAnyBytesWork) {
    const std::string in = make("b\xff\xfe.png");
    const ProgramRun run = runDevelop({in, "-d", scratch / "out", "--json"});
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(linesOf(run.out).size(), 1u);
    EXPECT_TRUE(fs::exists(scratch / "out/b\xff\xfe.png"));
}

TEST_F(DevelopFiles, ADryRunWritesNothing) {
    const std::string in = make("a.png");
    const ProgramRun run = runDevelop({in, "-d", scratch / "out", "--dry-run"});
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_NE(run.out.find("(not done)"), std::string::npos);
    EXPECT_EQ(scratch.names(), Names{"a.png"});
}

TEST_F(DevelopFiles, NamesThatWouldMeetAreKeptApartOrRefused) {
    make("one/a.png");
    make("two/a.png");
    const ProgramRun run = runDevelop({scratch / "one/a.png", scratch / "two/a.png", "-d", scratch / "out"});
    EXPECT_EQ(run.code, 2);
    EXPECT_NE(run.err.find("would both become"), std::string::npos);
    make("one/a.tif");
    ASSERT_EQ(runDevelop({scratch / "one", "-d", scratch / "out", "--format", "png"}).code, 0);
    EXPECT_TRUE(fs::exists(scratch / "out/a.png"));
    EXPECT_TRUE(fs::exists(scratch / "out/a.tif.png"));
}

TEST_F(DevelopFiles, FormatsOfManyBitsBecomeTiffWhateverTheCaseOfTheirNames) {
    for (const char* name : {"a.exr", "b.EXR", "c.jp2", "d.JPX", "e.nef"}) make(name + std::string(".png"));
    for (const char* name : {"a.exr", "b.EXR", "c.jp2", "d.JPX", "e.nef"})
        fs::rename(scratch / (name + std::string(".png")), scratch / name);
    const ProgramRun run = runDevelop({scratch.path(), "-d", scratch / "out", "--dry-run"});
    for (const char* result : {"a.tif", "b.tif", "c.tif", "d.tif", "e.jpg"})
        EXPECT_NE(run.out.find(scratch / "out" + '/' + result), std::string::npos) << result << '\n' << run.out;
}

TEST_F(DevelopFiles, SettingsAreSavedLoadedAndReadFromSidecars) {
    const std::string in = make("a.png");
    ASSERT_EQ(
        runDevelop({in, "-o", scratch / "1.png", "--contrast", "0.4", "--save-settings", scratch / "s.json"}).code, 0);
    ASSERT_EQ(runDevelop({in, "-o", scratch / "2.png", "--settings", scratch / "s.json"}).code, 0);
    Settings::load(scratch / "s.json").save(Settings::sidecarOf(in));
    ASSERT_EQ(runDevelop({in, "-o", scratch / "3.png", "--sidecars"}).code, 0);
    ASSERT_EQ(runDevelop({in, "-o", scratch / "4.png"}).code, 0);
    const cv::Mat one = readPhotograph(scratch / "1.png").pixels;
    EXPECT_TRUE(same(one, readPhotograph(scratch / "2.png").pixels));
    EXPECT_TRUE(same(one, readPhotograph(scratch / "3.png").pixels));
    EXPECT_FALSE(same(one, readPhotograph(scratch / "4.png").pixels));
}

TEST_F(DevelopFiles, SavedSettingsReplaceSettingsAlone) {
    const std::string in = make("a.png"), other = make("b.png"), saved = scratch / "s.json";
    const auto before = bytesOf(other);
    const ProgramRun run = runDevelop({"--save-settings", other, in, "-o", scratch / "c.png"});
    EXPECT_EQ(run.code, 2);
    EXPECT_EQ(run.err, "kestrova-develop: " + other + ": is there already and holds no settings\n");
    EXPECT_EQ(bytesOf(other), before);
    EXPECT_FALSE(fs::exists(scratch / "c.png"));
    for (const char* medium : {"0.25", "0.5"}) {
        EXPECT_EQ(
            runDevelop({in, "-o", scratch / "c.png", "--overwrite", "--medium", medium, "--save-settings", saved}).code,
            0);
        EXPECT_EQ(Settings::load(saved).medium.midtones.strength, std::stof(medium));
    }
}

TEST_F(DevelopFiles, ShardsOfAListMakeEveryPhotographOnceAndTheSame) {
    Names all;
    std::string list;
    for (int i = 0; i < 7; ++i) {
        all.push_back(std::to_string(i) + ".png");
        list += make("in/" + all.back(), 40 + i, 30) + "\n";
    }
    writeBytes(scratch / "list", {list.begin(), list.end()});
    ASSERT_EQ(runDevelop({scratch / "in", "-d", scratch / "whole", "--contrast", "0.3", "--jobs", "2"}).code, 0);
    for (const char* shard : {"1/3", "2/3"})
        ASSERT_EQ(
            runDevelop({"--list", scratch / "list", "--shard", shard, "-d", scratch / "parts", "--contrast", "0.3"})
                .code,
            0);
    const ProgramRun slurm =
        runDevelop({"--list", scratch / "list", "-d", scratch / "parts", "--contrast", "0.3"},
                   {"SLURM_ARRAY_TASK_ID=12", "SLURM_ARRAY_TASK_MIN=10", "SLURM_ARRAY_TASK_COUNT=3"});
    ASSERT_EQ(slurm.code, 0) << slurm.err;
    for (const std::string& name : all)
        EXPECT_EQ(bytesOf(scratch / ("whole/" + name)), bytesOf(scratch / ("parts/" + name))) << name;
    EXPECT_EQ(runDevelop({"--list", scratch / "list", "--shard", "4/3", "-d", scratch / "parts"}).code, 2);
}

}  // namespace
}  // namespace kestrova::photo
