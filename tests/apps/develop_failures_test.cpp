#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/apps/develop_scratch.h"
#include "tests/apps/program.h"

namespace kestrova::photo {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class DevelopFailures : public DevelopScratch {};

/// A folder in `top` that nobody can read, not even root: its path is longer than a path may be.
void makeUnreadable(const std::string& top) {
    const std::string name(250, 'd');
    int at = ::open(top.c_str(), O_RDONLY | O_DIRECTORY);
    for (int depth = 0; depth < 18; ++depth) {
        ASSERT_EQ(::mkdirat(at, name.c_str(), 0700), 0);
        const int inside = ::openat(at, name.c_str(), O_RDONLY | O_DIRECTORY);
        ::close(at);
        at = inside;
    }
    ::close(at);
}

TEST_F(DevelopFailures, AFolderThatCannotBeReadIsReportedAndTheOthersAreDone) {
    make("in/a.png");
    make("in/z/b.png");
    makeUnreadable(scratch / "in");
    const ProgramRun run = runDevelop({scratch / "in", "-d", scratch / "out", "--json"});
    EXPECT_EQ(run.code, 3);
    EXPECT_NE(run.err.find("File name too long"), std::string::npos) << run.err;
    EXPECT_TRUE(fs::exists(scratch / "out/a.png"));
    EXPECT_TRUE(fs::exists(scratch / "out/z/b.png"));
    const auto lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[1]["outcome"], "failed");
    EXPECT_EQ(lines[1]["code"], 3);
    EXPECT_FALSE(lines[1].contains("output"));
    const ProgramRun inPlace = runDevelop({scratch / "in", "--in-place", "--dry-run"});
    EXPECT_EQ(inPlace.code, 3);
    EXPECT_NE(inPlace.err.find("File name too long"), std::string::npos) << inPlace.err;
}

TEST_F(DevelopFailures, ABadFileIsReportedAndTheOthersAreDone) {
    make("in/1.jpg");
    writeBytes(scratch / "in/2.jpg", {0xff, 0xd8, 0xff, 0xe0, 1, 2, 3});
    make("in/3.png");
    const ProgramRun run = runDevelop({scratch / "in", "-d", scratch / "out", "--json"});
    EXPECT_EQ(run.code, 2);
    const auto lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0]["outcome"], "done");
    EXPECT_EQ(lines[1]["outcome"], "failed");
    EXPECT_EQ(lines[1]["code"], 2);
    EXPECT_EQ(lines[2]["outcome"], "done");
    EXPECT_GT(lines[2]["peak_memory_mb"], 1);
    EXPECT_TRUE(lines[2].contains("seconds"));
    EXPECT_NE(run.err.find("2.jpg"), std::string::npos);
    EXPECT_FALSE(fs::exists(scratch / "out/2.jpg"));
}

TEST_F(DevelopFailures, ExitCodesTellUsageFilesAndMemoryApart) {
    const std::string in = make("a.png", 600, 400);
    EXPECT_EQ(runDevelop({in}).code, 2);
    EXPECT_EQ(runDevelop({"-o", scratch / "b.png"}).code, 2);
    EXPECT_EQ(runDevelop({in, "-o", scratch / "b.png", "--brightness", "1.5"}).code, 2);
    EXPECT_EQ(runDevelop({in, "-o", scratch / "b.png", "--no-such-option"}).code, 2);
    EXPECT_EQ(runDevelop({in, "-o", scratch / "b.bmp"}).code, 2);
    EXPECT_EQ(runDevelop({in, "-o", scratch / "b.jpg", "--bits", "16"}).code, 2);
    EXPECT_EQ(runDevelop({in, "-o", scratch / "b.png", "--preset", "nonsense"}).code, 2);
    EXPECT_EQ(runDevelop({in, "-o", scratch / "missing/b.png"}).code, 3);
    EXPECT_EQ(runDevelop({scratch / "missing.png", "-o", scratch / "b.png"}).code, 3);
    EXPECT_EQ(runDevelop({in, "-o", scratch / "b.png", "--max-memory", "1M"}).code, 4);
    EXPECT_EQ(runDevelop({in, "-o", scratch / "b.png", "--max-megapixels", "0.1"}).code, 2);
    EXPECT_EQ(runDevelop({"--help"}).code, 0);
    EXPECT_EQ(runDevelop({"--version"}).code, 0);
    EXPECT_EQ(scratch.names(), Names{"a.png"});
}

TEST_F(DevelopFailures, AFolderThatCannotBeReadStopsAShardSinceItsNumbersMightNotBeThoseOfTheOthers) {
    make("in/a.png");
    makeUnreadable(scratch / "in");
    for (const char* shard : {"1/2", "2/2"}) {
        const ProgramRun run = runDevelop({scratch / "in", "-d", scratch / "out", "--shard", shard});
        EXPECT_EQ(run.code, 3);
        EXPECT_NE(run.err.find("File name too long"), std::string::npos) << run.err;
        EXPECT_FALSE(fs::exists(scratch / "out/a.png"));
    }
}

TEST_F(DevelopFailures, AFolderThatCannotBeMadeIsRefusedBeforeAnyWork) {
    const std::string in = make("a.png"), settings = scratch / "s.json";
    for (const std::string& folder : {in, in + "/below"}) {
        const ProgramRun run = runDevelop({in, "-d", folder, "--save-settings", settings});
        EXPECT_EQ(run.code, 3) << folder;
        EXPECT_FALSE(run.err.empty());
        EXPECT_FALSE(fs::exists(settings)) << "nothing is written before all is checked";
    }
    EXPECT_EQ(scratch.names(), Names{"a.png"});
}

TEST_F(DevelopFailures, DevicesAreNotReplaced) {
    const std::string in = make("a.png");
    const ProgramRun run = runDevelop({in, "-o", "/dev/full", "--format", "png", "--overwrite"});
    EXPECT_EQ(run.code, 3);
    EXPECT_NE(run.err.find("device"), std::string::npos) << run.err;
    struct stat status {};
    ::stat("/dev/full", &status);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
}

TEST_F(DevelopFailures, AFullDiskSaysSoAndLeavesNothing) {
    const std::string in = make("a.png", 300, 300, 16);
    const auto before = bytesOf(in);
    const ProgramRun run = runDevelop({in, "--in-place", "--brightness", "0.2"}, {}, [] {
        const rlimit limit = {4096, 4096};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_EQ(run.code, 3) << run.err;
    EXPECT_EQ(bytesOf(in), before);
    EXPECT_EQ(scratch.names(), Names{"a.png"});
}

TEST_F(DevelopFailures, AClosedPipeIsNoDeath) {
    make("in/a.png");
    make("in/b.png");
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ::close(ends[0]);
    const ProgramRun run =
        runDevelop({scratch / "in", "-d", scratch / "out"}, {}, [&] { ::dup2(ends[1], STDOUT_FILENO); });
    ::close(ends[1]);
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_TRUE(fs::exists(scratch / "out/b.png"));
}

TEST_F(DevelopFailures, PeakMemoryIsTheProgramsAndNotThatOfWhoStartedIt) {
    const std::string in = make("a.png");
    const std::vector<char> large(1'000'000'000, 1);
    const ProgramRun run = runDevelop({in, "-o", scratch / "b.png", "--json"});
    EXPECT_EQ(run.code, 0) << run.err;
    const double peak = linesOf(run.out).at(0)["peak_memory_mb"];
    EXPECT_GT(peak, 20);
    EXPECT_LT(peak, 800);
    EXPECT_EQ(large.back(), 1);
}

TEST_F(DevelopFailures, AReportThatIsLostIsSaidOnceAllIsDone) {
    make("in/a.png");
    make("in/b.png");
    const int full = ::open("/dev/full", O_WRONLY);
    ASSERT_GE(full, 0);
    for (const char* json : {"--json", "--dry-run"}) {
        const ProgramRun run = runDevelop({scratch / "in", "-d", scratch / "out", "--overwrite", json}, {},
                                          [&] { ::dup2(full, STDOUT_FILENO); });
        EXPECT_EQ(run.code, 3);
        EXPECT_EQ(run.err, "kestrova-develop: standard output: No space left on device\n");
    }
    ::close(full);
    EXPECT_TRUE(fs::exists(scratch / "out/b.png"));
}

TEST_F(DevelopFailures, HelpThatIsLostIsSaid) {
    for (const char* option : {"--help", "--version"}) {
        const ProgramRun run = runDevelop({option}, {}, [] { ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO); });
        EXPECT_EQ(run.code, 3);
        EXPECT_EQ(run.err, "kestrova-develop: standard output: No space left on device\n");
    }
}

TEST_F(DevelopFailures, AListThatCannotBeReadIsSaid) {
    const ProgramRun run = runDevelop({"--list", scratch.path(), "-d", scratch / "out"});
    EXPECT_EQ(run.code, 3);
    EXPECT_EQ(run.err, "kestrova-develop: " + scratch.path() + ": cannot be read\n");
}

TEST_F(DevelopFailures, ReportsDoNotEndUpInResultsWhereStandardStreamsAreClosed) {
    for (int i = 0; i < 24; ++i) make("in/" + std::to_string(i) + ".png", 300, 200);
    const auto closeAll = [] {
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::close(stream);
    };
    EXPECT_EQ(runDevelop({scratch / "in", "-d", scratch / "a"}).code, 0);
    EXPECT_EQ(runDevelop({scratch / "in", "-d", scratch / "b", "--jobs", "4", "--threads", "1"}, {}, closeAll).code, 0);
    for (int i = 0; i < 24; ++i) {
        const std::string name = "/" + std::to_string(i) + ".png";
        EXPECT_EQ(bytesOf(scratch / ("a" + name)), bytesOf(scratch / ("b" + name))) << name;
    }
}

TEST_F(DevelopFailures, FilesOfFewBytesThatDeclareHundredsOfMegapixelsMeetTheLimit) {
    const std::string in = make("a.png", 8, 8);
    auto bytes = bytesOf(in);
    bytes[18] = bytes[22] = 0x45;  // 17,672 or so each way
    writeBytes(in, bytes);
    const ProgramRun run = runDevelop({in, "-o", scratch / "b.png"});
    EXPECT_EQ(run.code, 2);
    EXPECT_NE(run.err.find("megapixels"), std::string::npos) << run.err;
}

}  // namespace
}  // namespace kestrova::photo
