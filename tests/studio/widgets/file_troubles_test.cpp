#include "studio/widgets/file_troubles.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include <filesystem>

#include "photo/read.h"
#include "photo/write.h"
#include "studio/widgets/pixels.h"
#include "tests/photo/files.h"

namespace kestrova::studio {
namespace {

class FileTroubles : public testing::Test {
protected:
    QString saidOfReading(const std::string& path) const {
        try {
            photo::readPhotograph(path);
        } catch (const photo::Error& error) {
            return sentenceOf(error.kind(), fileName(std::string(error.what())), fileName(path));
        }
        return {};
    }
    QString saidOf(const std::string& name, const std::vector<unsigned char>& bytes) const {
        photo::writeBytes(scratch / name, bytes);
        return saidOfReading(scratch / name);
    }

    photo::Scratch scratch;
};

TEST_F(FileTroubles, OfFilesThatAreNoPhotographsAreNamed) {
    EXPECT_EQ(saidOfReading(scratch / "gone.jpg"), "gone.jpg: there is no such file or folder.");
    EXPECT_EQ(saidOf("notes.jpg", {'n', 'o', 't', 'e', 's', '.', '.', '.', '.', '.', '.', '.', '.', '.', '.', '.'}),
              "notes.jpg is not a photograph.");
    EXPECT_EQ(saidOf("empty.jpg", {}), "empty.jpg is empty.");
    EXPECT_EQ(saidOf("damaged.jpg", {0xff, 0xd8, 0xff, 0xe0, 1, 2, 3}), "damaged.jpg is damaged.");
    std::filesystem::create_directory(scratch / "folder.jpg");
    EXPECT_EQ(saidOfReading(scratch / "folder.jpg"), "folder.jpg is not a photograph.");
}

TEST_F(FileTroubles, OfAFullDiskAreNamed) {
    try {
        photo::writePhotograph(photo::colourful(20, 20), "/dev/full/a.jpg");
        FAIL();
    } catch (const photo::Error& error) {
        EXPECT_EQ(sentenceOf(error.kind(), error.what(), "/dev/full/a.jpg"), "a.jpg: there is no such file or folder.");
    }
    EXPECT_EQ(sentenceOf(photo::Error::Kind::file, "/a.jpg: the disk is full", "/a.jpg"),
              "a.jpg cannot be written: the disk is full.");
    EXPECT_EQ(sentenceOf(photo::Error::Kind::file, QString("/a.jpg: ") + std::strerror(EACCES), "/a.jpg"),
              "There is no permission to open a.jpg.");
    EXPECT_EQ(sentenceOf(photo::Error::Kind::memory, "/a.jpg: takes about 12 MB", "/a.jpg"),
              "There is not enough memory for a.jpg.");
}

TEST_F(FileTroubles, AreNotReadOutOfNames) {
    EXPECT_EQ(sentenceOf(photo::Error::Kind::input, "/the disk is empty.jpg: damaged tiles", "/the disk is empty.jpg"),
              "the disk is empty.jpg is damaged.");
}

}  // namespace
}  // namespace kestrova::studio
