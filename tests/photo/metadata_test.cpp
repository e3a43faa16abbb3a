#include "photo/metadata.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <exiv2/exiv2.hpp>
#include <map>

#include "photo/read.h"
#include "photo/write.h"
#include "tests/photo/files.h"

namespace kestrova::photo {
namespace {

// A file with something of everything: camera, place, a maker's notes, IPTC, XMP, a thumbnail.
void dress(const std::string& path) {
    const auto image = Exiv2::ImageFactory::open(path);
    image->readMetadata();
    Exiv2::ExifData& exif = image->exifData();
    exif["Exif.Image.Make"] = "Canon";
    exif["Exif.Image.Model"] = "Canon EOS 300D DIGITAL";
    exif["Exif.Image.Artist"] = "A. Photographer";
    exif["Exif.Image.Copyright"] = "(c) A. Photographer";
    exif["Exif.Image.Orientation"] = std::uint16_t(1);
    exif["Exif.Image.XResolution"] = Exiv2::Rational(300, 1);
    exif["Exif.Image.YResolution"] = Exiv2::Rational(300, 1);
    exif["Exif.Image.ResolutionUnit"] = std::uint16_t(2);
    exif["Exif.Photo.DateTimeOriginal"] = "2024:05:06 07:08:09";
    exif["Exif.Photo.ExposureTime"] = Exiv2::Rational(1, 250);
    exif["Exif.Photo.FNumber"] = Exiv2::Rational(28, 10);
    exif["Exif.Photo.ISOSpeedRatings"] = std::uint16_t(400);
    exif["Exif.Photo.UserComment"] = "charset=Ascii in the garden";
    exif["Exif.GPSInfo.GPSLatitudeRef"] = "N";
    exif["Exif.GPSInfo.GPSLatitude"] = "47/1 22/1 30/1";
    exif["Exif.GPSInfo.GPSLongitudeRef"] = "E";
    exif["Exif.GPSInfo.GPSLongitude"] = "8/1 32/1 10/1";
    exif["Exif.Canon.OwnerName"] = "the owner";
    exif["Exif.Canon.SerialNumber"] = std::uint32_t(123456);
    exif["Exif.Canon.FirmwareVersion"] = "1.1.1";
    exif["Exif.CanonCs.Macro"] = std::uint16_t(2);
    exif["Exif.CanonCs.Quality"] = std::uint16_t(3);
    const unsigned char thumbnail[] = {0xff, 0xd8, 0xff, 0xd9};
    Exiv2::ExifThumb(exif).setJpegThumbnail(thumbnail, sizeof thumbnail);
    Exiv2::IptcData& iptc = image->iptcData();
    iptc["Iptc.Application2.Caption"] = "a flower";
    iptc["Iptc.Application2.Copyright"] = "(c) A. Photographer";
    iptc["Iptc.Application2.Byline"] = "A. Photographer";
    Exiv2::StringValue keyword;
    for (const char* word : {"flower", "garden"}) {
        keyword.read(word);
        iptc.add(Exiv2::IptcKey("Iptc.Application2.Keywords"), &keyword);
    }
    Exiv2::XmpData& xmp = image->xmpData();
    xmp["Xmp.dc.title"] = "lang=x-default A flower";
    xmp["Xmp.dc.rights"] = "lang=x-default (c) A. Photographer";
    xmp["Xmp.dc.subject"] = "flower";
    xmp["Xmp.xmp.Rating"] = "4";
    xmp["Xmp.xmpRights.Marked"] = "True";
    xmp["Xmp.crs.Exposure2012"] = "+0.35";
    image->writeMetadata();
}

std::multimap<std::string, std::string> tagsOf(const std::string& path) {
    const auto image = Exiv2::ImageFactory::open(path);
    image->readMetadata();
    std::multimap<std::string, std::string> tags;
    for (const auto& tag : image->exifData()) tags.emplace(tag.key(), tag.toString());
    for (const auto& tag : image->iptcData()) tags.emplace(tag.key(), tag.toString());
    for (const auto& tag : image->xmpData()) tags.emplace(tag.key(), tag.toString());
    return tags;
}

bool startsWith(const std::string& text, const std::string& start) { return text.rfind(start, 0) == 0; }

// Where in the file something is, and the maker's notes as bytes, which their own tags stand for.
bool isPlace(const std::string& key) {
    return key == "Exif.Image.ExifTag" || key == "Exif.Image.GPSTag" || key == "Exif.Photo.MakerNote" ||
           startsWith(key, "Exif.MakerNote.") || startsWith(key, "Exif.Thumbnail.");
}

class MetadataFiles : public testing::TestWithParam<std::string> {};

TEST_P(MetadataFiles, KeepEveryTagButTheThumbnail) {
    const Scratch scratch;
    const std::string from = scratch / "from.jpg", to = scratch / GetParam();
    writePhotograph(colourful(40, 30), from);
    dress(from);
    const WriteReport report = writePhotograph(readPhotograph(from), to);
    const auto before = tagsOf(from), after = tagsOf(to);
    const bool webp = GetParam() == "a.webp";
    EXPECT_GT(before.size(), 35u);
    for (const auto& [key, value] : before) {
        if (isPlace(key) || (webp && startsWith(key, "Iptc."))) continue;
        const auto range = after.equal_range(key);
        EXPECT_TRUE(std::any_of(range.first, range.second, [&, v = value](const auto& tag) { return tag.second == v; }))
            << key << " = " << value;
    }
    EXPECT_EQ(after.count("Exif.Thumbnail.JPEGInterchangeFormat"), 0u);
    EXPECT_EQ(before.count("Exif.Canon.OwnerName"), 1u);
    if (webp) {
        ASSERT_EQ(report.notes.size(), 1u);
        EXPECT_EQ(report.notes[0].substr(0, 17), "WebP does not hol");
        EXPECT_NE(report.notes[0].find("IPTC"), std::string::npos);
    } else {
        EXPECT_TRUE(report.notes.empty()) << report.notes[0];
    }
}

TEST_P(MetadataFiles, KeepTheCopyrightAlone) {
    const Scratch scratch;
    const std::string from = scratch / "from.jpg", to = scratch / GetParam();
    writePhotograph(colourful(40, 30), from);
    dress(from);
    WriteOptions options;
    options.metadata = MetadataChoice::copyright;
    writePhotograph(readPhotograph(from), to, options);
    const auto tags = tagsOf(to);
    EXPECT_EQ(tags.count("Exif.Image.Artist"), 1u);
    EXPECT_EQ(tags.count("Exif.Image.Copyright"), 1u);
    EXPECT_EQ(tags.count("Xmp.dc.rights"), 1u);
    EXPECT_EQ(tags.count("Exif.Image.Model"), 0u);
    EXPECT_EQ(tags.count("Exif.GPSInfo.GPSLatitude"), 0u);
    EXPECT_EQ(tags.count("Exif.Canon.SerialNumber"), 0u);
    EXPECT_EQ(tags.count("Xmp.dc.title"), 0u);
    EXPECT_EQ(tags.count("Iptc.Application2.Keywords"), 0u);
    if (GetParam() != "a.webp") {
        EXPECT_EQ(tags.count("Iptc.Application2.Byline"), 1u);
    }
}

TEST_P(MetadataFiles, KeepNothingWhenAskedTo) {
    const Scratch scratch;
    const std::string from = scratch / "from.jpg", to = scratch / GetParam();
    writePhotograph(colourful(40, 30), from);
    dress(from);
    WriteOptions options;
    options.metadata = MetadataChoice::none;
    writePhotograph(readPhotograph(from), to, options);
    for (const auto& [key, value] : tagsOf(to)) {
        EXPECT_EQ(key.find("Xmp."), std::string::npos) << key;
        EXPECT_EQ(key.find("Iptc."), std::string::npos) << key;
        EXPECT_EQ(value.find("Photographer"), std::string::npos) << key;
        EXPECT_EQ(key.find("Canon"), std::string::npos) << key;
        EXPECT_EQ(key.find("GPS"), std::string::npos) << key;
    }
    EXPECT_EQ(readPhotograph(to).profile, Profile::srgb());
}

TEST_P(MetadataFiles, CarryTheKey) {
    const Scratch scratch;
    const std::string to = scratch / GetParam();
    WriteOptions options;
    options.key = "0123456789abcdef";
    options.metadata = MetadataChoice::none;
    writePhotograph(colourful(40, 30), to, options);
    EXPECT_EQ(Metadata::fromFile(to)->text("Xmp.kestrova.Key"), options.key);
    const Photograph read = readPhotograph(to);
    writePhotograph(read, scratch / "b.png");
    const auto copy = Metadata::fromFile(scratch / "b.png");
    EXPECT_EQ(copy ? copy->text("Xmp.kestrova.Key") : "", "") << "a copy is another file";
}

INSTANTIATE_TEST_SUITE_P(Formats, MetadataFiles, testing::Values("a.jpg", "a.png", "a.tif", "a.webp"));

TEST(Metadata, OfHowTheColoursOfAJpegLieIsNotMissedInATiff) {
    const Scratch scratch;
    writePhotograph(colourful(40, 30), scratch / "a.jpg");
    {
        const auto image = Exiv2::ImageFactory::open(scratch / "a.jpg");
        image->readMetadata();
        image->exifData()["Exif.Image.YCbCrPositioning"] = std::uint16_t(2);
        image->writeMetadata();
    }
    const Photograph read = readPhotograph(scratch / "a.jpg");
    EXPECT_EQ(writePhotograph(read, scratch / "a.tif").notes, std::vector<std::string>());
    EXPECT_EQ(tagsOf(scratch / "a.tif").count("Exif.Image.YCbCrPositioning"), 0u);
    writePhotograph(read, scratch / "b.jpg");
    EXPECT_EQ(tagsOf(scratch / "b.jpg").count("Exif.Image.YCbCrPositioning"), 1u);
}

TEST(Metadata, PassesThroughEveryFormatAndBack) {
    const Scratch scratch;
    writePhotograph(colourful(40, 30), scratch / "0.jpg");
    dress(scratch / "0.jpg");
    const char* names[] = {"0.jpg", "1.tif", "2.png", "3.jpg", "4.png", "5.tif", "6.jpg"};
    for (int i = 1; i < 7; ++i) writePhotograph(readPhotograph(scratch / names[i - 1]), scratch / names[i]);
    const auto before = tagsOf(scratch / "0.jpg"), after = tagsOf(scratch / "6.jpg");
    for (const auto& [key, value] : before)
        if (!isPlace(key)) {
            EXPECT_EQ(after.count(key), before.count(key)) << key;
        }
    for (const auto& [key, value] : after) EXPECT_TRUE(before.count(key) || isPlace(key)) << key << " = " << value;
}

TEST(Metadata, ThatIsTooLargeForJpegIsMissedAloud) {
    const Scratch scratch;
    writePhotograph(colourful(40, 30), scratch / "a.tif");
    {
        const auto image = Exiv2::ImageFactory::open(scratch / "a.tif");
        image->readMetadata();
        image->exifData()["Exif.Image.Model"] = "a camera";
        image->exifData()["Exif.Photo.UserComment"] = "charset=Ascii " + std::string(80000, 'x');
        image->writeMetadata();
    }
    const WriteReport report = writePhotograph(readPhotograph(scratch / "a.tif"), scratch / "a.jpg");
    ASSERT_EQ(report.notes.size(), 1u);
    EXPECT_EQ(report.notes[0], "JPEG does not hold 1 of the EXIF tags");
    EXPECT_EQ(Metadata::fromFile(scratch / "a.jpg")->text("Exif.Image.Model"), "a camera");
}

TEST(Metadata, CommentsOfFilesAreKeptOrMissedAloud) {
    const Scratch scratch;
    writePhotograph(colourful(40, 30), scratch / "a.jpg");
    {
        const auto image = Exiv2::ImageFactory::open(scratch / "a.jpg");
        image->readMetadata();
        image->setComment("taken from the train");
        image->writeMetadata();
    }
    for (const std::string name : {"b.jpg", "b.png", "b.tif", "b.webp"}) {
        const WriteReport report = writePhotograph(readPhotograph(scratch / "a.jpg"), scratch / name);
        const auto image = Exiv2::ImageFactory::open(scratch / name);
        image->readMetadata();
        if (image->comment() == "taken from the train") {
            EXPECT_TRUE(report.notes.empty()) << name;
        } else {
            ASSERT_EQ(report.notes.size(), 1u) << name;
            EXPECT_NE(report.notes[0].find("does not hold the comment"), std::string::npos) << report.notes[0];
            EXPECT_TRUE(name == "b.tif" || name == "b.webp") << name;
        }
    }
    WriteOptions options;
    options.metadata = MetadataChoice::copyright;
    EXPECT_TRUE(writePhotograph(readPhotograph(scratch / "a.jpg"), scratch / "c.webp", options).notes.empty());
}

TEST(Metadata, OfAnUnknownKeyIsEmpty) {
    const Scratch scratch;
    writePhotograph(colourful(40, 30), scratch / "a.jpg");
    dress(scratch / "a.jpg");
    const auto metadata = Metadata::fromFile(scratch / "a.jpg");
    EXPECT_EQ(metadata->text("Exif.Photo.FNumber"), "28/10");
    EXPECT_EQ(metadata->text("Exif.Nowhere.Nothing"), "");
    EXPECT_EQ(metadata->text("nonsense"), "");
}

}  // namespace
}  // namespace kestrova::photo
