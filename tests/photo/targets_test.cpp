#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <functional>
#include <new>
#include <thread>
#include <utility>

#include "photo/error.h"
#include "photo/read.h"
#include "photo/write.h"
#include "tests/photo/files.h"

namespace {

bool namelessFilesAreRefused = false;
bool renamingToFreeNamesIsUnknown = false;
bool secondNamesAreRefused = false;
std::function<void()> beforeNaming;          // as another process would
std::atomic<bool>* isNamedBeside = nullptr;  // shared with a writer that is killed: between naming and replacing

void act() {
    if (beforeNaming) std::exchange(beforeNaming, {})();
}

}  // namespace

// The layer's calls of openat come here, so that a file system without nameless files can be played.
extern "C" int openat(int folder, const char* path, int flags, ...) {
    if (namelessFilesAreRefused && (flags & O_TMPFILE) == O_TMPFILE) {
        errno = EOPNOTSUPP;
        return -1;
    }
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, unsigned);
    va_end(arguments);
    return static_cast<int>(::syscall(SYS_openat, folder, path, flags, mode));
}

// Nor are names given without passing here.
extern "C" int linkat(int from, const char* path, int folder, const char* name, int flags) noexcept {
    act();
    if (secondNamesAreRefused) {
        errno = EPERM;
        return -1;
    }
    if (isNamedBeside && std::strncmp(name, ".kestrova-", 10) == 0) *isNamedBeside = true;
    return static_cast<int>(::syscall(SYS_linkat, from, path, folder, name, flags));
}
extern "C" int renameat(int from, const char* path, int folder, const char* name) noexcept {
    const auto result = static_cast<int>(::syscall(SYS_renameat2, from, path, folder, name, 0));
    if (isNamedBeside) *isNamedBeside = false;
    return result;
}
extern "C" int renameat2(int from, const char* path, int folder, const char* name, unsigned flags) noexcept {
    act();
    if (renamingToFreeNamesIsUnknown) {
        errno = EINVAL;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_renameat2, from, path, folder, name, flags));
}

namespace kestrova::photo {
namespace {

using Names = std::vector<std::string>;

Error::Kind kindOf(const std::function<void()>& work, const std::string& text = "") {
    try {
        work();
    } catch (const Error& error) {
        EXPECT_NE(std::string(error.what()).find(text), std::string::npos) << error.what();
        return error.kind();
    }
    ADD_FAILURE() << "no error";
    return Error::Kind::programming;
}

mode_t modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0);
    return status.st_mode;
}

TEST(Targets, AreReplacedWithTheirModeKept) {
    const Scratch scratch;
    const std::string path = scratch / "a.png";
    writeBytes(path, {1, 2, 3});
    ::chmod(path.c_str(), 0640);
    const Photograph photograph = colourful(30, 20);
    writePhotograph(photograph, path);
    EXPECT_EQ(modeOf(path) & 07777, 0640u);
    EXPECT_TRUE(same(readPhotograph(path).pixels, photograph.pixels));
    EXPECT_EQ(scratch.names(), Names{"a.png"});
}

TEST(Targets, AreReplacedWithTheNotesBesideThemKept) {
    const Scratch scratch;
    const std::string path = scratch / "a.png";
    writePhotograph(colourful(30, 20), path);
    if (::setxattr(path.c_str(), "user.xdg.tags", "sea", 3, 0) != 0) GTEST_SKIP() << "no attributes here";
    ASSERT_EQ(::setxattr(path.c_str(), "user.baloo.rating", "8", 1, 0), 0);
    // Entries of version 2: rw- for the owner, r-- for user 1234, none for the group, mask r--, none for others.
    const std::uint32_t none = 0xffffffff;
    const struct {
        std::uint32_t version = 2;
        struct {
            std::uint16_t tag, permissions;
            std::uint32_t id;
        } entries[5];
    } list = {2, {{1, 6, none}, {2, 4, 1234}, {4, 0, none}, {16, 4, none}, {32, 0, none}}};
    const bool lists = ::setxattr(path.c_str(), "system.posix_acl_access", &list, sizeof list, 0) == 0;
    writePhotograph(colourful(20, 30), path);
    char value[64] = {};
    EXPECT_EQ(::getxattr(path.c_str(), "user.xdg.tags", value, sizeof value), 3);
    EXPECT_STREQ(value, "sea");
    EXPECT_EQ(::getxattr(path.c_str(), "user.baloo.rating", value, sizeof value), 1);
    if (lists) {
        ASSERT_EQ(::getxattr(path.c_str(), "system.posix_acl_access", value, sizeof value), ssize_t(sizeof list));
        EXPECT_EQ(std::memcmp(value, &list, sizeof list), 0);
        EXPECT_EQ(modeOf(path) & 07777, 0640u);
    }
}

TEST(Targets, ThatAreNewObeyTheUmask) {
    const Scratch scratch;
    const mode_t before = ::umask(027);
    writePhotograph(colourful(3, 2), scratch / "a.png");
    ::umask(before);
    EXPECT_EQ(modeOf(scratch / "a.png") & 07777, 0640u);
}

TEST(Targets, LinksStayAndTheirFilesAreReplaced) {
    const Scratch scratch;
    ::mkdir((scratch / "there").c_str(), 0755);
    writeBytes(scratch / "there/real.png", {1});
    ASSERT_EQ(::symlink("there/real.png", (scratch / "link.png").c_str()), 0);
    writePhotograph(colourful(30, 20), scratch / "link.png");
    EXPECT_TRUE(S_ISLNK(modeOf(scratch / "link.png")));
    EXPECT_EQ(readPhotograph(scratch / "there/real.png").pixels.cols, 30);

    ASSERT_EQ(::symlink("nowhere.png", (scratch / "lost.png").c_str()), 0);
    EXPECT_EQ(kindOf([&] { writePhotograph(colourful(3, 2), scratch / "lost.png"); }, "leads nowhere"),
              Error::Kind::file);
    EXPECT_EQ(scratch.names(), (Names{"link.png", "lost.png", "there"}));
}

TEST(Targets, OtherHardLinksKeepTheOldContent) {
    const Scratch scratch;
    writeBytes(scratch / "a.png", {1, 2, 3});
    ASSERT_EQ(::link((scratch / "a.png").c_str(), (scratch / "backup.png").c_str()), 0);
    writePhotograph(colourful(3, 2), scratch / "a.png");
    EXPECT_EQ(bytesOf(scratch / "backup.png"), (std::vector<unsigned char>{1, 2, 3}));
}

TEST(Targets, DevicesPipesAndFoldersAreRefusedAndStay) {
    const Scratch scratch;
    WriteOptions png;
    png.format = FileFormat::png;
    ::mkfifo((scratch / "pipe").c_str(), 0600);
    ::mkdir((scratch / "folder").c_str(), 0700);
    ASSERT_EQ(::symlink("/dev/full", (scratch / "device").c_str()), 0);
    for (const std::string& path : {std::string("/dev/full"), std::string("/dev/null"), scratch / "pipe",
                                    scratch / "folder", scratch / "device", scratch / "missing/a.png"}) {
        EXPECT_EQ(kindOf([&] { writePhotograph(colourful(3, 2), path, png); }, path), Error::Kind::file);
        EXPECT_EQ(kindOf([&] { checkWritable(path, png); }, path), Error::Kind::file);
    }
    EXPECT_TRUE(S_ISCHR(modeOf("/dev/full")));
    EXPECT_TRUE(S_ISFIFO(modeOf(scratch / "pipe")));
    EXPECT_EQ(scratch.names(), (Names{"device", "folder", "pipe"}));
}

TEST(Targets, SurviveADiskThatIsFull) {
    const Scratch scratch;
    writeBytes(scratch / "a.tif", {1, 2, 3});
    const pid_t child = ::fork();
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {4096, 4096};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        try {
            WriteOptions options;
            options.threads = 1;
            writePhotograph(colourful(400, 300, 16), scratch / "a.tif", options);
        } catch (const Error& error) {
            ::_exit(error.kind() == Error::Kind::file ? 0 : 1);
        }
        ::_exit(2);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(bytesOf(scratch / "a.tif"), (std::vector<unsigned char>{1, 2, 3}));
    EXPECT_EQ(scratch.names(), Names{"a.tif"});
}

TEST(Targets, OfWritersThatAreKilledAreOldOrNewAndNothingIsLeft) {
    const Scratch scratch;
    const std::string path = scratch / "a.png";
    const Photograph old = colourful(200, 150), fresh = colourful(150, 200);
    writePhotograph(old, path);
    void* shared =
        ::mmap(nullptr, sizeof(std::atomic<bool>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    isNamedBeside = new (shared) std::atomic<bool>(false);
    std::size_t mayBeLeft = 0;
    for (int round = 0; round < 25; ++round) {
        const pid_t child = ::fork();
        if (child == 0) {
            WriteOptions options;
            options.threads = 1;
            for (;;) {
                writePhotograph(fresh, path, options);
                writePhotograph(old, path, options);
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10 + 3 * round));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        const cv::Mat pixels = readPhotograph(path).pixels;
        EXPECT_TRUE(same(pixels, old.pixels) || same(pixels, fresh.pixels));
        // A kill between the naming and the replacing leaves one: some microseconds, or more where the disk is busy.
        if (isNamedBeside->exchange(false)) ++mayBeLeft;
    }
    isNamedBeside = nullptr;
    ::munmap(shared, sizeof(std::atomic<bool>));
    EXPECT_LE(scratch.names().size(), 1 + mayBeLeft);
}

TEST(Targets, ThatAppearWhileANewFileIsWrittenAreNotReplaced) {
    const Photograph fresh = colourful(20, 30);
    for (const bool nameless : {true, false})
        for (const bool renames : {true, false}) {
            namelessFilesAreRefused = !nameless;
            renamingToFreeNamesIsUnknown = !renames;
            const Scratch scratch;
            const std::string path = scratch / "a.png";
            beforeNaming = [&] { writeBytes(path, {1, 2, 3}); };
            EXPECT_EQ(kindOf([&] { writeNewPhotograph(fresh, path); }, "a.png: is there already"), Error::Kind::input);
            EXPECT_EQ(bytesOf(path), (std::vector<unsigned char>{1, 2, 3}));
            EXPECT_EQ(kindOf([&] { writeNewPhotograph(fresh, path); }, "a.png: is there already"), Error::Kind::input);
            writeNewPhotograph(fresh, scratch / "b.png");
            EXPECT_TRUE(same(readPhotograph(scratch / "b.png").pixels, fresh.pixels));
            EXPECT_EQ(scratch.names(), (Names{"a.png", "b.png"}));
        }
    namelessFilesAreRefused = renamingToFreeNamesIsUnknown = false;
}

TEST(Targets, ThatAppearAreNotReplacedWhereFilesHaveOneNameOnly) {
    const Photograph fresh = colourful(20, 30);
    namelessFilesAreRefused = renamingToFreeNamesIsUnknown = secondNamesAreRefused = true;
    const Scratch scratch;
    const std::string path = scratch / "a.png";
    beforeNaming = [&] { writeBytes(path, {1, 2, 3}); };
    EXPECT_EQ(kindOf([&] { writeNewPhotograph(fresh, path); }, "a.png: is there already"), Error::Kind::input);
    EXPECT_EQ(bytesOf(path), (std::vector<unsigned char>{1, 2, 3}));
    writeNewPhotograph(fresh, scratch / "b.png");
    EXPECT_TRUE(same(readPhotograph(scratch / "b.png").pixels, fresh.pixels));
    EXPECT_EQ(scratch.names(), (Names{"a.png", "b.png"}));
    namelessFilesAreRefused = renamingToFreeNamesIsUnknown = secondNamesAreRefused = false;
}

TEST(Targets, AreWrittenWithoutProc) {
    const Scratch scratch;
    const pid_t child = ::fork();
    if (child == 0) {
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 || ::mount("none", "/proc", "tmpfs", 0, nullptr) != 0)
            ::_exit(77);
        WriteOptions options;
        options.threads = 1;
        try {
            writePhotograph(colourful(30, 20), scratch / "a.png", options);
            writePhotograph(colourful(20, 30), scratch / "a.png", options);
        } catch (const Error&) {
            ::_exit(1);
        }
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 77) GTEST_SKIP() << "no mounts of its own for a test";
    EXPECT_EQ(status, 0);
    EXPECT_EQ(scratch.names(), Names{"a.png"});
    EXPECT_EQ(readPhotograph(scratch / "a.png").pixels.size(), cv::Size(20, 30));
}

TEST(Targets, AreReplacedWithoutLitterWhereFilesMustHaveNamesToo) {
    const Scratch scratch;
    const std::string path = scratch / "a.png";
    const Photograph old = colourful(30, 20), fresh = colourful(20, 30);
    namelessFilesAreRefused = true;
    writePhotograph(old, path);
    EXPECT_TRUE(same(readPhotograph(path).pixels, old.pixels));
    ::chmod(path.c_str(), 0640);
    writePhotograph(fresh, path);
    EXPECT_TRUE(same(readPhotograph(path).pixels, fresh.pixels));
    EXPECT_EQ(modeOf(path) & 07777, 0640u);
    const pid_t child = ::fork();
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {64, 64};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        try {
            WriteOptions options;
            options.threads = 1;
            writePhotograph(old, path, options);
        } catch (const Error& error) {
            ::_exit(error.kind() == Error::Kind::file ? 0 : 1);
        }
        ::_exit(2);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    namelessFilesAreRefused = false;
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(same(readPhotograph(path).pixels, fresh.pixels));
    EXPECT_EQ(scratch.names(), Names{"a.png"});
}

TEST(Targets, AreNotTouchedByACancelledWriting) {
    const Scratch scratch;
    const Photograph photograph = colourful(3000, 2000, 16);
    for (const char* name : {"a.jpg", "a.png", "a.tif", "a.webp"}) {
        writeBytes(scratch / name, {1, 2, 3});
        double soonest = 1;
        for (int attempt = 0; attempt < 3 && soonest > 0.2; ++attempt) {
            std::atomic<bool> cancel{false};
            WriteOptions options;
            options.cancel = &cancel;
            std::chrono::steady_clock::time_point asked;
            std::thread host([&] {
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
                asked = std::chrono::steady_clock::now();
                cancel = true;
            });
            EXPECT_EQ(kindOf([&] { writePhotograph(photograph, scratch / name, options); }), Error::Kind::cancelled)
                << name;
            const auto answered = std::chrono::steady_clock::now();
            host.join();
            soonest = std::min(soonest, std::chrono::duration<double>(answered - asked).count());
        }
        EXPECT_LT(soonest, 0.2) << name;
        EXPECT_EQ(bytesOf(scratch / name), (std::vector<unsigned char>{1, 2, 3}));
    }
    EXPECT_EQ(scratch.names().size(), 4u);
}

TEST(Targets, AreNotTouchedByAWritingThatIsCancelledFromTheStart) {
    const Scratch scratch;
    std::atomic<bool> cancel{true};
    WriteOptions options;
    options.cancel = &cancel;
    for (const char* name : {"a.jpg", "a.png", "a.tif", "a.webp"})
        EXPECT_EQ(kindOf([&] { writePhotograph(colourful(30, 20), scratch / name, options); }), Error::Kind::cancelled);
    EXPECT_TRUE(scratch.names().empty());
}

TEST(Targets, OptionsOutOfRangeAreInputErrors) {
    const Scratch scratch;
    const auto refuses = [&](const std::string& name, const std::function<void(WriteOptions&)>& change,
                             const std::string& text) {
        WriteOptions options;
        change(options);
        EXPECT_EQ(kindOf([&] { writePhotograph(colourful(3, 2), scratch / name, options); }, text), Error::Kind::input);
    };
    refuses(
        "a.jpg", [](WriteOptions& o) { o.quality = 0; }, "quality");
    refuses(
        "a.jpg", [](WriteOptions& o) { o.quality = 101; }, "quality");
    refuses(
        "a.jpg", [](WriteOptions& o) { o.bits = 16; }, "JPEG does not hold 16 bits");
    refuses(
        "a.webp", [](WriteOptions& o) { o.bits = 16; }, "WebP does not hold 16 bits");
    refuses(
        "a.png", [](WriteOptions& o) { o.bits = 12; }, "8 or 16");
    refuses(
        "a.bmp", [](WriteOptions&) {}, "ends in none of");
    refuses(
        "a.heic", [](WriteOptions& o) { o.format = FileFormat::heif; }, "not written");
    EXPECT_TRUE(scratch.names().empty());
}

TEST(Targets, LargerThanAFormatAreRefused) {
    const Scratch scratch;
    EXPECT_EQ(kindOf([&] { writePhotograph(colourful(16384, 1), scratch / "a.webp"); }, "at most 16383"),
              Error::Kind::input);
    EXPECT_TRUE(scratch.names().empty());
}

}  // namespace
}  // namespace kestrova::photo
