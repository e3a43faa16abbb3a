#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>
#include <lcms2.h>
#include <tiffio.h>

#include <cmath>

#include "photo/decode.h"
#include "photo/read.h"
#include "photo/write.h"
#include "tests/photo/dng.h"
#include "tests/photo/files.h"
#include "tests/photo/pictures.h"

// After all that declares FILE.
#include <jpeglib.h>

namespace kestrova::photo {
namespace {

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
    ASSERT_EQ(read.notes.size(), 2u);
    EXPECT_EQ(read.notes[0], "values beyond white were clipped");
    EXPECT_EQ(read.notes[1].find("texts in the file's header were left out: "), 0u);
}

TEST(Inputs, TextsOfOpenExrThatAreLeftOutAreSaid) {
    const Scratch scratch;
    const auto output = OIIO::ImageOutput::create("openexr");
    OIIO::ImageSpec spec(2, 1, 3, OIIO::TypeDesc::FLOAT);
    spec.attribute("Copyright", "somebody");
    spec.attribute("Scene", "the sea");
    ASSERT_TRUE(output->open(scratch / "a.exr", spec));
    const float pixels[6] = {0, 0.5f, 1, 0, 0.5f, 1};
    ASSERT_TRUE(output->write_image(OIIO::TypeDesc::FLOAT, pixels));
    output->close();
    const Photograph read = readPhotograph(scratch / "a.exr");
    ASSERT_EQ(read.notes.size(), 1u);
    EXPECT_EQ(read.notes[0].find("texts in the file's header were left out: "), 0u);
    EXPECT_NE(read.notes[0].find("Copyright"), std::string::npos);
    EXPECT_NE(read.notes[0].find("Scene"), std::string::npos);
}

TEST(Inputs, Jpeg2000HeifAndAvifAreRead) {
    const Scratch scratch;
    for (const char* name : {"a.jp2", "a.heic", "a.avif"}) {
        makeFile(scratch / name);
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

TEST(Inputs, CmykWithAProfileThatDoesNotFitIsConvertedAloud) {
    const std::vector<unsigned char> broken = {'n', 'o', 'n', 'e'};
    for (const auto& icc : {broken, Profile::displayP3().bytes()}) {
        cv::Mat pixels(1, 1, CV_16UC4, cv::Scalar(65535, 0, 0, 0));
        std::vector<std::string> notes;
        EXPECT_EQ(convertCmyk(pixels, icc, notes, 1), Profile::srgb());
        EXPECT_EQ(pixels.at<cv::Vec4w>(0, 0), cv::Vec4w(65535, 65535, 0, 65535));
        ASSERT_EQ(notes.size(), 1u);
        EXPECT_EQ(notes[0],
                  icc == broken
                      ? "the file's profile is not a colour profile; CMYK was converted to sRGB by a plain formula"
                      : "the file's profile \"Display P3\" is not for CMYK, which was converted to sRGB by a "
                        "plain formula");
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

TEST(Inputs, KeepTheirNamesOfAnyBytes) {
    const Scratch scratch;
    for (const std::string name : {"b\xff\xfe.jpg", "what?key=1.png", "100%d #1.tif", "-dash.webp"}) {
        writePhotograph(colourful(30, 20), scratch / name);
        EXPECT_EQ(readPhotograph(scratch / name).pixels.cols, 30) << name;
    }
}

}  // namespace
}  // namespace kestrova::photo
