#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>
#include <lcms2.h>
#include <tiffio.h>

#include <cmath>
#include <random>

#include "photo/error.h"
#include "photo/read.h"
#include "photo/write.h"
#include "tests/photo/dng.h"
#include "tests/photo/files.h"

// After all that declares FILE.
#include <jpeglib.h>

namespace kestrova::photo {
namespace {

// A picture of one format for the tests that break it.
void make(const std::string& path) {
    const std::string extension = path.substr(path.rfind('.') + 1);
    if (writtenFormat(path)) {
        writePhotograph(colourful(90, 70), path);
        return;
    }
    const auto output = OIIO::ImageOutput::create(path);
    // OpenImageIO's HEIF writer reads rows as long as the encoder pads them: 96 pixels need no padding.
    OIIO::ImageSpec spec(96, 70, 3, extension == "exr" ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::UINT8);
    ASSERT_TRUE(output && output->open(path, spec)) << extension;
    std::vector<float> pixels(96 * 70 * 3);
    for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = float(i / 3 % 96) / 96;
    ASSERT_TRUE(output->write_image(OIIO::TypeDesc::FLOAT, pixels.data()));
    output->close();
}

TEST(Inputs, ARawFileIsDevelopedWithTheCamerasWhiteBalance) {
    const Scratch scratch;
    makeDng(scratch / "a.dng", 1);
    const Photograph read = readPhotograph(scratch / "a.dng");
    ASSERT_EQ(read.sourceBits, 16);
    EXPECT_NEAR(read.pixels.cols, 128, 8);
    EXPECT_NEAR(read.pixels.rows, 96, 8);
    const auto at = [&](double share) {
        return read.pixels.at<cv::Vec4w>(read.pixels.rows / 2, int(read.pixels.cols * share));
    };
    for (double share : {0.25, 0.75}) {
        const auto p = at(share);
        EXPECT_LT(std::abs(p[0] - p[1]) + std::abs(p[2] - p[1]), p[1] / 12) << p;
    }
    // Light of 1 to 4, neither brightened nor darkened: through the curve of 1.8 it is 1 to 2.16.
    EXPECT_NEAR(double(at(0.75)[1]) / at(0.25)[1], std::pow(4.0, 1 / 1.8), 0.1);
    EXPECT_EQ(read.outputProfile, Profile::displayP3());
    ASSERT_TRUE(read.metadata);
    EXPECT_EQ(read.metadata->text("Exif.Image.Model"), "Test");

    const WriteReport report = writePhotograph(read, scratch / "a.jpg");
    EXPECT_EQ(readPhotograph(scratch / "a.jpg").profile, Profile::displayP3());
    const auto metadata = Metadata::fromFile(scratch / "a.jpg");
    EXPECT_EQ(metadata->text("Exif.Image.Model"), "Test");
    EXPECT_EQ(metadata->text("Exif.Image.StripOffsets"), "");
    EXPECT_EQ(metadata->text("Exif.Image.DNGVersion"), "");
}

TEST(Inputs, ARawFileIsUpright) {
    const Scratch scratch;
    makeDng(scratch / "a.dng", 6);
    const Photograph read = readPhotograph(scratch / "a.dng");
    EXPECT_GT(read.pixels.rows, read.pixels.cols);
    EXPECT_GT(read.pixels.at<cv::Vec4w>(read.pixels.rows * 3 / 4, read.pixels.cols / 2)[1],
              read.pixels.at<cv::Vec4w>(read.pixels.rows / 4, read.pixels.cols / 2)[1]);
}

TEST(Inputs, LightOfOpenExrIsEncodedAndClippedAloud) {
    const Scratch scratch;
    const auto output = OIIO::ImageOutput::create("openexr");
    OIIO::ImageSpec spec(4, 1, 4, OIIO::TypeDesc::FLOAT);
    ASSERT_TRUE(output->open(scratch / "a.exr", spec));
    const float pixels[16] = {0, 0, 0, 1, 0.2140411f, 0.2140411f, 0.2140411f, 1, 2, 1, 1, 1, 0.25f, 0.25f, 0.25f, 0.5f};
    ASSERT_TRUE(output->write_image(OIIO::TypeDesc::FLOAT, pixels));
    output->close();
    const Photograph read = readPhotograph(scratch / "a.exr");
    EXPECT_EQ(read.sourceBits, 32);
    EXPECT_TRUE(read.hasAlpha);
    EXPECT_EQ(read.pixels.at<cv::Vec4w>(0, 0), cv::Vec4w(0, 0, 0, 65535));
    EXPECT_NEAR(read.pixels.at<cv::Vec4w>(0, 1)[1], 32768, 2);
    EXPECT_EQ(read.pixels.at<cv::Vec4w>(0, 2), cv::Vec4w(65535, 65535, 65535, 65535));
    EXPECT_NEAR(read.pixels.at<cv::Vec4w>(0, 3)[1], 65535 * (1.055 * std::pow(0.5, 1 / 2.4) - 0.055), 2)
        << "not premultiplied";
    ASSERT_EQ(read.notes.size(), 1u);
    EXPECT_EQ(read.notes[0], "values beyond white were clipped");
}

TEST(Inputs, Jpeg2000HeifAndAvifAreRead) {
    const Scratch scratch;
    for (const char* name : {"a.jp2", "a.heic", "a.avif"}) {
        make(scratch / name);
        const Photograph read = readPhotograph(scratch / name);
        EXPECT_EQ(read.pixels.size(), cv::Size(96, 70)) << name;
        EXPECT_EQ(read.sourceBits, 8);
        EXPECT_NEAR(read.pixels.at<cv::Vec4w>(30, 48)[1], 32768, 4000) << name;
    }
}

TEST(Inputs, FloatTiffAndPalettesAreRead) {
    const Scratch scratch;
    const auto output = OIIO::ImageOutput::create("tiff");
    OIIO::ImageSpec spec(3, 1, 3, OIIO::TypeDesc::FLOAT);
    ASSERT_TRUE(output->open(scratch / "f.tif", spec));
    const float pixels[9] = {0, 0.5f, 1, -1, NAN, 2, 0.25f, 0.25f, 0.25f};
    ASSERT_TRUE(output->write_image(OIIO::TypeDesc::FLOAT, pixels));
    output->close();
    const Photograph read = readPhotograph(scratch / "f.tif");
    EXPECT_EQ(read.pixels.at<cv::Vec4w>(0, 0), cv::Vec4w(65535, 32768, 0, 65535));
    EXPECT_EQ(read.pixels.at<cv::Vec4w>(0, 1), cv::Vec4w(65535, 0, 0, 65535));
    EXPECT_EQ(read.sourceBits, 32);

    TIFF* tiff = TIFFOpen((scratch / "p.tif").c_str(), "w");
    std::vector<std::uint16_t> red(256), green(256), blue(256);
    red[7] = 65535, green[7] = 257 * 128, blue[9] = 65535;
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 2);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE);
    TIFFSetField(tiff, TIFFTAG_COLORMAP, red.data(), green.data(), blue.data());
    std::uint8_t row[2] = {7, 9};
    TIFFWriteScanline(tiff, row, 0, 0);
    TIFFClose(tiff);
    const Photograph palette = readPhotograph(scratch / "p.tif");
    EXPECT_EQ(palette.pixels.at<cv::Vec4w>(0, 0), cv::Vec4w(0, 257 * 128, 65535, 65535));
    EXPECT_EQ(palette.pixels.at<cv::Vec4w>(0, 1), cv::Vec4w(65535, 0, 0, 65535));
    EXPECT_FALSE(palette.grey);
}

TEST(Inputs, CmykWithoutAProfileIsConvertedAloud) {
    const Scratch scratch;
    std::FILE* file = std::fopen((scratch / "c.jpg").c_str(), "wb");
    jpeg_compress_struct state;
    jpeg_error_mgr errors;
    state.err = jpeg_std_error(&errors);
    jpeg_create_compress(&state);
    jpeg_stdio_dest(&state, file);
    state.image_width = state.image_height = 16;
    state.input_components = 4;
    state.in_color_space = JCS_CMYK;
    jpeg_set_defaults(&state);
    jpeg_set_quality(&state, 100, TRUE);
    jpeg_start_compress(&state, TRUE);  // libjpeg writes Adobe's marker: values are inverted, 255 is no ink
    std::vector<JSAMPLE> row(64);
    for (int x = 0; x < 16; ++x) row[4 * x] = 0, row[4 * x + 1] = row[4 * x + 2] = 255, row[4 * x + 3] = 255;
    JSAMPROW rows[1] = {row.data()};
    for (int y = 0; y < 16; ++y) jpeg_write_scanlines(&state, rows, 1);
    jpeg_finish_compress(&state);
    jpeg_destroy_compress(&state);
    std::fclose(file);

    std::uint8_t inks[4] = {255, 0, 0, 0};
    TIFF* tiff = TIFFOpen((scratch / "c.tif").c_str(), "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 1);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 4);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_SEPARATED);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFWriteScanline(tiff, inks, 0, 0);
    TIFFClose(tiff);

    for (const char* name : {"c.jpg", "c.tif"}) {
        const Photograph read = readPhotograph(scratch / name);
        const auto& p = read.pixels.at<cv::Vec4w>(0, 0);
        EXPECT_GT(p[0], 64000) << name << p;
        EXPECT_GT(p[1], 64000) << name << p;
        EXPECT_LT(p[2], 1500) << name << p;
        EXPECT_EQ(p[3], 65535);
        ASSERT_EQ(read.notes.size(), 1u);
        EXPECT_EQ(read.notes[0], "CMYK without a profile was converted to sRGB by a plain formula");
    }
}

// A profile of four inks on white paper: light is what every ink lets through, made with lcms2's own stages.
Profile inkProfile() {
    const cmsHPROFILE handle = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(handle, 2.4);
    cmsSetDeviceClass(handle, cmsSigOutputClass);
    cmsSetColorSpace(handle, cmsSigCmykData);
    cmsSetPCS(handle, cmsSigLabData);
    cmsPipeline* pipeline = cmsPipelineAlloc(nullptr, 4, 3);
    cmsStage* table = cmsStageAllocCLut16bit(nullptr, 9, 4, 3, nullptr);
    const auto print = [](const cmsUInt16Number in[], cmsUInt16Number out[], void*) -> cmsInt32Number {
        const double ink[4] = {in[0] / 65535.0, in[1] / 65535.0, in[2] / 65535.0, in[3] / 65535.0};
        const double black = 1 - 0.95 * ink[3];
        const double r = (1 - 0.9 * ink[0]) * black, g = (1 - 0.8 * ink[1]) * black, b = (1 - 0.7 * ink[2]) * black;
        const cmsCIEXYZ xyz = {0.4361 * r + 0.3851 * g + 0.1431 * b, 0.2225 * r + 0.7169 * g + 0.0606 * b,
                               0.0139 * r + 0.0971 * g + 0.7141 * b};
        cmsCIELab lab;
        cmsXYZ2Lab(nullptr, &lab, &xyz);
        cmsFloat2LabEncodedV2(out, &lab);
        return TRUE;
    };
    EXPECT_TRUE(cmsStageSampleCLut16bit(table, print, nullptr, 0));
    cmsPipelineInsertStage(pipeline, cmsAT_END, table);
    EXPECT_TRUE(cmsWriteTag(handle, cmsSigAToB0Tag, pipeline));
    EXPECT_TRUE(cmsWriteTag(handle, cmsSigMediaWhitePointTag, cmsD50_XYZ()));
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(handle, nullptr, &size);
    std::vector<unsigned char> bytes(size);
    cmsSaveProfileToMem(handle, bytes.data(), &size);
    cmsPipelineFree(pipeline);
    cmsCloseProfile(handle);
    return Profile::fromBytes(bytes);
}

TEST(Inputs, CmykIsConvertedByItsProfileAsLcms2DoesInFloat) {
    const Scratch scratch;
    const Profile profile = inkProfile();
    ASSERT_EQ(profile.channels(), 4);
    for (const int side : {64, 1100}) {
        std::vector<std::uint8_t> inks;
        for (int i = 0; i < side * side; ++i)
            for (const int ink : {i % 16 * 17, i / 16 % 16 * 17, i / 256 % 16 * 17, i * 7 % 256})
                inks.push_back(static_cast<std::uint8_t>(ink));
        TIFF* tiff = TIFFOpen((scratch / "c.tif").c_str(), "w");
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, side);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, side);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 4);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_SEPARATED);
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tiff, TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(profile.bytes().size()),
                     profile.bytes().data());
        for (int y = 0; y < side; ++y)
            TIFFWriteScanline(tiff, inks.data() + y * side * 4, static_cast<std::uint32_t>(y), 0);
        TIFFClose(tiff);

        const Photograph read = readPhotograph(scratch / "c.tif");
        EXPECT_EQ(read.profile, Profile::displayP3());
        EXPECT_EQ(read.outputProfile, Profile::displayP3());
        ASSERT_EQ(read.notes.size(), 1u);
        EXPECT_NE(read.notes[0].find("CMYK was converted from"), std::string::npos);

        const cmsHPROFILE from = cmsOpenProfileFromMem(profile.bytes().data(), unsigned(profile.bytes().size())),
                          to = cmsOpenProfileFromMem(Profile::displayP3().bytes().data(),
                                                     unsigned(Profile::displayP3().bytes().size()));
        const cmsHTRANSFORM transform =
            cmsCreateTransform(from, TYPE_CMYK_DBL, to, TYPE_RGB_DBL, INTENT_RELATIVE_COLORIMETRIC,
                               cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE | cmsFLAGS_BLACKPOINTCOMPENSATION);
        ASSERT_TRUE(transform);
        double worst = 0;
        for (int i = 0; i < side * side; i += side / 64) {
            double ink[4], rgb[3];
            for (int c = 0; c < 4; ++c) ink[c] = inks[4 * i + c] / 2.55;  // per cent
            cmsDoTransform(transform, ink, rgb, 1);
            const auto& p = read.pixels.at<cv::Vec4w>(i / side, i % side);
            for (int c = 0; c < 3; ++c)
                worst = std::max(worst, std::abs(p[2 - c] / 257.0 - 255 * std::clamp(rgb[c], 0.0, 1.0)));
            ASSERT_EQ(p[3], 65535);
        }
        EXPECT_LE(worst, 0.5) << "steps of 8 bits";
        cmsDeleteTransform(transform);
        cmsCloseProfile(from);
        cmsCloseProfile(to);
    }
}

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
    GetParam() == "dng" ? makeDng(path, 1) : make(path);
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
    GetParam() == "dng" ? makeDng(path, 1) : make(path);
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

TEST(Inputs, WhatFollowsTheFirstPictureOfAFileIsSaid) {
    const Scratch scratch;
    writePhotograph(colourful(60, 40), scratch / "a.jpg");
    auto bytes = bytesOf(scratch / "a.jpg");
    EXPECT_TRUE(readPhotograph(scratch / "a.jpg").notes.empty());
    bytes.resize(bytes.size() + 50 * 1024, 'x');
    writeBytes(scratch / "a.jpg", bytes);
    const Photograph read = readPhotograph(scratch / "a.jpg");
    ASSERT_EQ(read.notes.size(), 1u);
    EXPECT_EQ(read.notes[0], "50 KB after the picture, such as a film, a gain map or a preview, were not read");
}

TEST(Inputs, CopiesOfMetadataInPngAreNotMissed) {
    EXPECT_TRUE(readPhotograph(KESTROVA_PHOTOS "/u76c0g_bliznaca_srgb8.png").notes.empty());
}

TEST(Inputs, TextsOfPngThatAreNoMetadataAreMissedAloud) {
    const Scratch scratch;
    writePhotograph(colourful(8, 6), scratch / "a.png");
    auto bytes = bytesOf(scratch / "a.png");
    EXPECT_TRUE(readPhotograph(scratch / "a.png").notes.empty());
    // A chunk in front of IEND, which is the last 12 bytes: length, name, content, checksum.
    const std::string content = std::string("tEXtTitle") + '\0' + "A flower";
    std::vector<unsigned char> chunk = {0, 0, 0, static_cast<unsigned char>(content.size() - 4)};
    chunk.insert(chunk.end(), content.begin(), content.end());
    std::uint32_t crc = 0xffffffff;
    for (const char c : content) {
        crc ^= static_cast<unsigned char>(c);
        for (int k = 0; k < 8; ++k) crc = crc & 1 ? crc >> 1 ^ 0xedb88320u : crc >> 1;
    }
    for (int shift = 24; shift >= 0; shift -= 8) chunk.push_back(static_cast<unsigned char>(~crc >> shift));
    bytes.insert(bytes.end() - 12, chunk.begin(), chunk.end());
    writeBytes(scratch / "a.png", bytes);
    const Photograph read = readPhotograph(scratch / "a.png");
    ASSERT_EQ(read.notes.size(), 1u);
    EXPECT_EQ(read.notes[0], "texts of the PNG file were left out: Title");
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

TEST(Inputs, KeepTheirNamesOfAnyBytes) {
    const Scratch scratch;
    for (const std::string name : {"b\xff\xfe.jpg", "what?key=1.png", "100%d #1.tif", "-dash.webp"}) {
        writePhotograph(colourful(30, 20), scratch / name);
        EXPECT_EQ(readPhotograph(scratch / name).pixels.cols, 30) << name;
    }
}

}  // namespace
}  // namespace kestrova::photo
