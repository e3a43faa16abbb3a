#include <gtest/gtest.h>
#include <libheif/heif.h>

#include <algorithm>
#include <exiv2/exiv2.hpp>
#include <memory>

#include "photo/metadata.h"
#include "photo/read.h"
#include "photo/write.h"
#include "tests/photo/files.h"

namespace kestrova::photo {
namespace {

using Image = std::unique_ptr<heif_image, decltype(&heif_image_release)>;

struct Colours {
    int primaries = heif_color_primaries_ITU_R_BT_709_5;
    int curve = heif_transfer_characteristic_IEC_61966_2_1;
};

/// Of one colour, whose upper left quarter is red.
Image imageOf(cv::Size size, const cv::Vec3b& rgb) {
    heif_image* raw = nullptr;
    EXPECT_EQ(heif_image_create(size.width, size.height, heif_colorspace_RGB, heif_chroma_interleaved_RGB, &raw).code,
              heif_error_Ok);
    Image image(raw, heif_image_release);
    heif_image_add_plane(raw, heif_channel_interleaved, size.width, size.height, 24);
    int stride = 0;
    std::uint8_t* plane = heif_image_get_plane(raw, heif_channel_interleaved, &stride);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            const bool red = x < size.width / 2 && y < size.height / 2;
            for (int c = 0; c < 3; ++c) plane[y * stride + 3 * x + c] = red ? (c == 0 ? 230 : 0) : rgb[c];
        }
    return image;
}

/// The camera "Kite", and an orientation, which in HEIF is a matter of the picture and not of its EXIF.
std::vector<unsigned char> exifOfACamera() {
    Exiv2::ExifData data;
    data["Exif.Image.Model"] = "Kite";
    data["Exif.Image.Orientation"] = std::uint16_t(6);
    Exiv2::Blob tiff;
    Exiv2::ExifParser::encode(tiff, Exiv2::littleEndian, data);
    const std::string head("Exif\0\0", 6);
    std::vector<unsigned char> exif(head.size() + tiff.size());
    std::copy(tiff.begin(), tiff.end(), std::copy(head.begin(), head.end(), exif.begin()));
    return exif;
}

/// A blue picture, and a green thumbnail if it has a size.
void writeHeif(const std::string& path, cv::Size size, cv::Size thumbnail, const Colours& colours = {},
               heif_orientation orientation = heif_orientation_normal) {
    const std::unique_ptr<heif_context, decltype(&heif_context_free)> context(heif_context_alloc(), heif_context_free);
    heif_encoder* rawEncoder = nullptr;
    ASSERT_EQ(heif_context_get_encoder_for_format(context.get(), heif_compression_HEVC, &rawEncoder).code,
              heif_error_Ok);
    const std::unique_ptr<heif_encoder, decltype(&heif_encoder_release)> encoder(rawEncoder, heif_encoder_release);
    heif_encoder_set_lossy_quality(rawEncoder, 90);
    const std::unique_ptr<heif_color_profile_nclx, decltype(&heif_nclx_color_profile_free)> numbers(
        heif_nclx_color_profile_alloc(), heif_nclx_color_profile_free);
    heif_nclx_color_profile_set_color_primaries(numbers.get(), static_cast<std::uint16_t>(colours.primaries));
    heif_nclx_color_profile_set_transfer_characteristics(numbers.get(), static_cast<std::uint16_t>(colours.curve));
    const std::unique_ptr<heif_encoding_options, decltype(&heif_encoding_options_free)> options(
        heif_encoding_options_alloc(), heif_encoding_options_free);
    options->output_nclx_profile = numbers.get();
    options->macOS_compatibility_workaround_no_nclx_profile = 0;
    options->image_orientation = orientation;
    const auto inColours = [&](cv::Size pixels, const cv::Vec3b& rgb) {
        Image image = imageOf(pixels, rgb);
        heif_image_set_nclx_color_profile(image.get(), numbers.get());
        return image;
    };
    heif_image_handle* picture = nullptr;
    ASSERT_EQ(heif_context_encode_image(context.get(), inColours(size, {0, 0, 230}).get(), rawEncoder, options.get(),
                                        &picture)
                  .code,
              heif_error_Ok);
    if (thumbnail.area() > 0) {
        heif_image_handle* small = nullptr;
        ASSERT_EQ(heif_context_encode_thumbnail(context.get(), inColours(thumbnail * 2, {0, 230, 0}).get(), picture,
                                                rawEncoder, options.get(), std::max(thumbnail.width, thumbnail.height),
                                                &small)
                      .code,
                  heif_error_Ok);
        heif_image_handle_release(small);
    }
    const std::vector<unsigned char> exif = exifOfACamera();
    ASSERT_EQ(heif_context_add_exif_metadata(context.get(), picture, exif.data(), static_cast<int>(exif.size())).code,
              heif_error_Ok);
    heif_image_handle_release(picture);
    ASSERT_EQ(heif_context_write_to_file(context.get(), path.c_str()).code, heif_error_Ok);
}

bool isThumbnail(const Photograph& photograph) {
    const cv::Scalar mean = cv::mean(photograph.pixels);
    return mean[1] > mean[0];
}

TEST(Heif, ThumbnailsAreTakenWhereTheyAreLargeEnoughAndOfTheSameShape) {
    const Scratch scratch;
    const std::string path = scratch / "a.heic";
    writeHeif(path, {960, 640}, {192, 128});
    const Photograph small = readPreview(path, 150);
    EXPECT_TRUE(isThumbnail(small));
    EXPECT_EQ(small.pixels.size(), cv::Size(192, 128));
    EXPECT_EQ(small.profile, Profile::srgb());
    EXPECT_TRUE(small.metadata);
    const Photograph tiny = readPreview(path, 60);
    EXPECT_TRUE(isThumbnail(tiny));
    EXPECT_LT(tiny.pixels.cols, 120);
    EXPECT_FALSE(isThumbnail(readPreview(path, 200)));
    EXPECT_FALSE(isThumbnail(readPhotograph(path)));
    for (const cv::Size other : {cv::Size(192, 144), cv::Size(128, 192), cv::Size()}) {
        writeHeif(path, {960, 640}, other);
        EXPECT_FALSE(isThumbnail(readPreview(path, 100))) << other;
    }
}

TEST(Heif, ThumbnailsAreTurnedLikeTheirPhotograph) {
    const Scratch scratch;
    const std::string path = scratch / "a.heic";
    writeHeif(path, {960, 640}, {192, 128}, {}, heif_orientation_rotate_90_cw);
    const Photograph preview = readPreview(path, 150), whole = readPhotograph(path);
    EXPECT_TRUE(isThumbnail(preview));
    EXPECT_EQ(whole.pixels.size(), cv::Size(640, 960));
    EXPECT_EQ(preview.pixels.size(), cv::Size(128, 192));
    for (const double x : {0.2, 0.8})
        for (const double y : {0.2, 0.8}) {
            const auto isRed = [&](const cv::Mat& m) {
                return m.at<cv::Vec4w>(static_cast<int>(y * m.rows), static_cast<int>(x * m.cols))[2] > 30000;
            };
            EXPECT_EQ(isRed(preview.pixels), isRed(whole.pixels)) << x << ", " << y;
        }
}

TEST(Heif, MetadataIsCarriedAlong) {
    const Scratch scratch;
    const std::string path = scratch / "a.heic", written = scratch / "a.jpg";
    writeHeif(path, {192, 128}, {});
    const Photograph photograph = readPhotograph(path);
    EXPECT_EQ(photograph.pixels.size(), cv::Size(192, 128));
    ASSERT_TRUE(photograph.metadata);
    EXPECT_EQ(photograph.metadata->text("Exif.Image.Model"), "Kite");
    writePhotograph(photograph, written);
    const auto metadata = Metadata::fromFile(written);
    ASSERT_TRUE(metadata);
    EXPECT_EQ(metadata->text("Exif.Image.Model"), "Kite");
    EXPECT_EQ(metadata->text("Exif.Image.Orientation"), "1");
}

TEST(Heif, ProfilesByNumbersAreKnownOrSaid) {
    const Scratch scratch;
    const std::string path = scratch / "a.heic";
    const auto read = [&](int primaries, int curve) {
        writeHeif(path, {192, 128}, {96, 64}, {primaries, curve});
        EXPECT_EQ(readPreview(path, 60).profile, readPhotograph(path).profile);
        return readPhotograph(path);
    };
    const Photograph p3 = read(heif_color_primaries_SMPTE_EG_432_1, heif_transfer_characteristic_IEC_61966_2_1);
    EXPECT_EQ(p3.profile, Profile::displayP3());
    EXPECT_EQ(p3.outputProfile, Profile::displayP3());
    for (const std::string& note : p3.notes) EXPECT_EQ(note.find("colours"), std::string::npos) << note;
    const Photograph television =
        read(heif_color_primaries_ITU_R_BT_709_5, heif_transfer_characteristic_ITU_R_BT_709_5);
    EXPECT_EQ(television.profile, Profile::srgb());
    for (const std::string& note : television.notes) EXPECT_EQ(note.find("colours"), std::string::npos) << note;
    const Photograph other =
        read(heif_color_primaries_ITU_R_BT_2020_2_and_2100_0, heif_transfer_characteristic_ITU_R_BT_2100_0_PQ);
    EXPECT_EQ(other.profile, Profile::srgb());
    EXPECT_EQ(std::count(other.notes.begin(), other.notes.end(),
                         "the file's colours (primaries 9, curve 16) are not known; sRGB was assumed"),
              1);
}

}  // namespace
}  // namespace kestrova::photo
