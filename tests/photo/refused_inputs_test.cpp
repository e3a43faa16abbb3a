#include <gtest/gtest.h>
#include <tiffio.h>

#include <atomic>
#include <cstring>
#include <limits>
#include <random>

#include "photo/error.h"
#include "photo/read.h"
#include "photo/write.h"
#include "tests/photo/dng.h"
#include "tests/photo/files.h"
#include "tests/photo/pictures.h"

namespace kestrova::photo {
namespace {

class BrokenFiles : public testing::TestWithParam<std::string> {};

// Reads what may be broken: an error of the layer or a picture, and not a word on either stream.
void tryReading(const std::string& path, int& refused) {
    ReadOptions options;
    options.maxMegapixels = 20;
    options.threads = 1;
    try {
        readPhotograph(path, options);
    } catch (const Error& error) {
        ++refused;
        EXPECT_NE(error.kind(), Error::Kind::programming) << error.what();
        EXPECT_NE(error.kind(), Error::Kind::cancelled) << error.what();
        EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
    }
}

TEST_P(BrokenFiles, CutShortAreRefusedOrReadAndNothingIsPrinted) {
    const Scratch scratch;
    const std::string path = scratch / ("a." + GetParam());
    GetParam() == "dng" ? makeDng(path, 1) : makeFile(path);
    const auto whole = bytesOf(path);
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    int refused = 0, tried = 0;
    for (std::size_t size = 0; size < whole.size(); size += 1 + whole.size() / 97, ++tried) {
        writeBytes(path, {whole.begin(), whole.begin() + size});
        tryReading(path, refused);
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_GT(refused, tried * 3 / 4);
}

TEST_P(BrokenFiles, WithAnyByteChangedAreRefusedOrReadAndNothingIsPrinted) {
    const Scratch scratch;
    const std::string path = scratch / ("a." + GetParam());
    GetParam() == "dng" ? makeDng(path, 1) : makeFile(path);
    const auto whole = bytesOf(path);
    std::mt19937 random(7);
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    int refused = 0;
    for (int round = 0; round < 200; ++round) {
        auto bytes = whole;
        // Half of them where the headers are.
        const std::size_t range = round % 2 ? bytes.size() : std::min<std::size_t>(bytes.size(), 300);
        for (int k = 0; k <= round % 3; ++k) bytes[random() % range] = static_cast<unsigned char>(random());
        writeBytes(path, bytes);
        tryReading(path, refused);
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    const std::string errors = testing::internal::GetCapturedStderr();
    if (GetParam() != "avif" && GetParam() != "heic") {  // decoders under libheif print, and nothing switches it off
        EXPECT_EQ(errors, "");
    }
    EXPECT_GT(refused, 0);
}

INSTANTIATE_TEST_SUITE_P(Formats, BrokenFiles,
                         testing::Values("jpg", "png", "tif", "webp", "exr", "jp2", "heic", "avif", "dng"));

Error::Kind kindOfReading(const std::string& path, const std::string& text, const ReadOptions& options = {}) {
    try {
        readPhotograph(path, options);
    } catch (const Error& error) {
        EXPECT_NE(std::string(error.what()).find(text), std::string::npos) << error.what();
        return error.kind();
    }
    ADD_FAILURE() << path << " was read";
    return Error::Kind::programming;
}

TEST(Inputs, OfAFewBytesThatDeclareHundredsOfMegapixelsAreRefused) {
    const Scratch scratch;
    writePhotograph(colourful(8, 8), scratch / "a.png");
    auto png = bytesOf(scratch / "a.png");
    const auto setBig = [](std::vector<unsigned char>& bytes, std::size_t at, unsigned value) {
        for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<unsigned char>(value >> (24 - 8 * i));
    };
    setBig(png, 16, 20000);
    setBig(png, 20, 15000);
    writeBytes(scratch / "a.png", png);
    EXPECT_EQ(kindOfReading(scratch / "a.png", "300 megapixels"), Error::Kind::input);
    setBig(png, 16, 60000);
    setBig(png, 20, 60000);
    writeBytes(scratch / "a.png", png);
    EXPECT_EQ(kindOfReading(scratch / "a.png", "more than the limit of 400 megapixels"), Error::Kind::input);

    writePhotograph(colourful(8, 8), scratch / "a.jpg");
    auto jpeg = bytesOf(scratch / "a.jpg");
    for (std::size_t i = 2; i + 9 < jpeg.size(); ++i)
        if (jpeg[i] == 0xff && jpeg[i + 1] == 0xc0) {
            jpeg[i + 5] = jpeg[i + 7] = 0x60;
            break;
        }
    writeBytes(scratch / "a.jpg", jpeg);
    EXPECT_EQ(kindOfReading(scratch / "a.jpg", "megapixels"), Error::Kind::input);
}

// A TIFF of 60 x 40 whose pixels are one strip, or one tile of that side.
void writeTiff(const std::string& path, std::uint32_t tileSide) {
    constexpr int kWidth = 60, kHeight = 40;
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kWidth);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kHeight);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    if (tileSide) {
        TIFFSetField(tiff, TIFFTAG_TILEWIDTH, tileSide);
        TIFFSetField(tiff, TIFFTAG_TILELENGTH, tileSide);
        std::vector<std::uint8_t> some(1000);
        TIFFWriteRawTile(tiff, 0, some.data(), static_cast<tmsize_t>(some.size()));
    } else {
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kHeight);
        std::vector<std::uint8_t> all(kWidth * kHeight * 3, 99);
        TIFFWriteEncodedStrip(tiff, 0, all.data(), static_cast<tmsize_t>(all.size()));
    }
    TIFFClose(tiff);
}

TEST(Inputs, OfTilesThatAreLargerThanAnyPictureAreRefused) {
    const Scratch scratch;
    writeTiff(scratch / "a.tif", 60000);
    EXPECT_EQ(kindOfReading(scratch / "a.tif", "declares 3600 megapixels"), Error::Kind::input);
}

TEST(Inputs, OfOneLargeStripThatEndsEarlyAreRefused) {
    const Scratch scratch;
    writeTiff(scratch / "a.tif", 0);
    const auto whole = bytesOf(scratch / "a.tif");
    readPhotograph(scratch / "a.tif");
    // The strip comes first and the directory last: the strip is moved to the end, where some of it is missing.
    auto moved = whole;
    const auto place = static_cast<std::uint32_t>(whole.size() - 5000);
    for (std::size_t at = whole.size() - 4 - 12; at > 8; --at)
        if (moved[at] == 0x11 && moved[at + 1] == 0x01 && moved[at + 2] == 4) {  // StripOffsets, a long
            std::memcpy(moved.data() + at + 8, &place, sizeof place);
            break;
        }
    writeBytes(scratch / "a.tif", moved);
    EXPECT_EQ(kindOfReading(scratch / "a.tif", ""), Error::Kind::input);
}

TEST(Inputs, OverTheLimitsAreRefused) {
    const Scratch scratch;
    writePhotograph(colourful(1000, 1000), scratch / "a.jpg");
    ReadOptions options;
    options.maxMegapixels = 0.9;
    EXPECT_EQ(kindOfReading(scratch / "a.jpg", "1 megapixels, more than the limit of 0.9", options),
              Error::Kind::input);
    options.maxMegapixels = 1;
    options.maxMemory = 15'000'000;
    EXPECT_EQ(kindOfReading(scratch / "a.jpg", "takes about 16 MB to read, more than the limit of 15 MB", options),
              Error::Kind::memory);
    options.maxMemory = 16'000'000;
    readPhotograph(scratch / "a.jpg", options);
}

TEST(Inputs, MeetEveryLimitThatIsNoOrdinaryNumber) {
    const Scratch scratch;
    writePhotograph(colourful(8, 8), scratch / "a.png");
    ReadOptions options;
    options.maxMegapixels = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(kindOfReading(scratch / "a.png", "more than the limit of nan megapixels", options), Error::Kind::input);
    options.maxMegapixels = std::numeric_limits<double>::infinity();
    readPhotograph(scratch / "a.png", options);
    auto png = bytesOf(scratch / "a.png");
    png[16] = png[20] = 0x7f;
    writeBytes(scratch / "a.png", png);
    EXPECT_EQ(kindOfReading(scratch / "a.png", "more than the limit of inf megapixels", options), Error::Kind::input);
}

TEST(Inputs, ThatAreNoPhotographsSayWhy) {
    const Scratch scratch;
    writeBytes(scratch / "empty.jpg", {});
    writeBytes(scratch / "text.jpg", {'h', 'e', 'l', 'l', 'o', '\n'});
    EXPECT_EQ(kindOfReading(scratch / "missing.jpg", "No such file"), Error::Kind::file);
    EXPECT_EQ(kindOfReading(scratch / "empty.jpg", "is empty"), Error::Kind::input);
    EXPECT_EQ(kindOfReading(scratch / "text.jpg", "not a photograph of a known format"), Error::Kind::input);
    EXPECT_EQ(kindOfReading(scratch.path(), "is a folder"), Error::Kind::input);
    EXPECT_EQ(kindOfReading("/dev/zero", "is not a regular file"), Error::Kind::input);
}

TEST(Inputs, AreNotReadOnWhenCancelled) {
    const Scratch scratch;
    std::atomic<bool> cancel{true};
    ReadOptions options;
    options.cancel = &cancel;
    for (const char* name : {"a.jpg", "a.png", "a.tif", "a.webp"}) {
        writePhotograph(colourful(300, 200), scratch / name);
        EXPECT_EQ(kindOfReading(scratch / name, "cancelled", options), Error::Kind::cancelled);
    }
}

}  // namespace
}  // namespace kestrova::photo
