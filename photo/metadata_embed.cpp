#include <algorithm>
#include <array>
#include <set>
#include <string_view>

#include "photo/error.h"
#include "photo/metadata_data.h"
#include "photo/webp_chunks.h"

namespace kestrova::photo {

namespace {

using namespace std::string_view_literals;

bool startsWith(const std::string& text, std::string_view start) { return text.compare(0, start.size(), start) == 0; }

// Tags of the first directory that tell how the pixels of a TIFF or RAW file are stored, not what they show, and where
// its other directories are.
constexpr std::array<int, 38> kStorageTags = {
    0x8769, 0x8825, 0x00fe, 0x00ff, 0x0100, 0x0101, 0x0102, 0x0103, 0x0106, 0x010a, 0x0111, 0x0115, 0x0116,
    0x0117, 0x011c, 0x0120, 0x0121, 0x0122, 0x0123, 0x012d, 0x013d, 0x0140, 0x0142, 0x0143, 0x0144, 0x0145,
    0x014a, 0x0152, 0x0153, 0x015b, 0x0200, 0x0201, 0x0202, 0x0212, 0x0214, 0x02bc, 0x83bb, 0x8649};
constexpr int kProfileTag = 0x8773;
// From DNGVersion on, DNG tells how to develop the sensor's values; these two describe the camera.
constexpr int kFirstDngTag = 0xc612, kUniqueCameraModel = 0xc614, kCameraSerialNumber = 0xc62f;

bool aboutStorage(const Exiv2::Exifdatum& datum) {
    const std::string group = datum.groupName();
    if (group == "Thumbnail" || startsWith(group, "SubImage") || startsWith(group, "SubThumb") || group == "Image2" ||
        group == "Image3" || group == "PanasonicRaw")
        return true;
    if (group != "Image") return false;
    const int tag = datum.tag();
    return std::find(kStorageTags.begin(), kStorageTags.end(), tag) != kStorageTags.end() || tag == kProfileTag ||
           (tag >= kFirstDngTag && tag <= 0xcfff && tag != kUniqueCameraModel && tag != kCameraSerialNumber) ||
           tag == 0x828d || tag == 0x828e || tag == 0x9216 || tag == 0x9217;
}

constexpr std::array kCopyrightKeys = {"Exif.Image.Artist"sv,
                                       "Exif.Image.Copyright"sv,
                                       "Exif.Image.XPAuthor"sv,
                                       "Iptc.Application2.Byline"sv,
                                       "Iptc.Application2.BylineTitle"sv,
                                       "Iptc.Application2.Credit"sv,
                                       "Iptc.Application2.Source"sv,
                                       "Iptc.Application2.Copyright"sv,
                                       "Iptc.Application2.Contact"sv,
                                       "Xmp.dc.rights"sv,
                                       "Xmp.dc.creator"sv,
                                       "Xmp.photoshop.Credit"sv,
                                       "Xmp.photoshop.Source"sv,
                                       "Xmp.photoshop.AuthorsPosition"sv,
                                       "Xmp.iptc.CreatorContactInfo"sv,
                                       "Xmp.tiff.Artist"sv,
                                       "Xmp.tiff.Copyright"sv};

bool aboutCopyright(const std::string& key) {
    for (std::string_view wanted : kCopyrightKeys)
        if (key == wanted || startsWith(key, std::string(wanted) + '/')) return true;
    // Tells in which character set the IPTC texts are.
    return key == "Iptc.Envelope.CharacterSet" || startsWith(key, "Xmp.xmpRights.") || startsWith(key, "Xmp.plus.") ||
           startsWith(key, "Xmp.cc.");
}

struct Selection {
    Exiv2::ExifData exif;
    Exiv2::IptcData iptc;
    Exiv2::XmpData xmp;
    std::string comment;
};

Selection select(const MetadataRequest& request) {
    Selection selection;
    if (!request.metadata || request.choice == MetadataChoice::none) return selection;
    const Metadata::Data& from = request.metadata->data();
    const auto wanted = [&](const std::string& key) {
        return request.choice == MetadataChoice::all || aboutCopyright(key);
    };
    for (const auto& datum : from.exif)
        if (!aboutStorage(datum) && wanted(datum.key())) selection.exif.add(datum);
    for (const auto& datum : from.iptc)
        if (wanted(datum.key())) selection.iptc.add(datum);
    for (const auto& datum : from.xmp)
        if (!startsWith(datum.key(), "Xmp.xmp.Thumbnails") && !startsWith(datum.key(), "Xmp.kestrova.") &&
            wanted(datum.key()))
            selection.xmp.add(datum);
    if (request.choice == MetadataChoice::all) selection.comment = from.comment;
    return selection;
}

template <class Container, class Key>
bool has(const Container& container, const char* key) {
    return container.findKey(Key(key)) != container.end();
}

// What was true of the file that was read and is not of the one that is written.
void correct(Selection& selection, FileFormat format, const MetadataRequest& request) {
    auto& exif = selection.exif;
    auto& xmp = selection.xmp;
    const auto setExif = [&](const char* key, auto value) {
        if (has<Exiv2::ExifData, Exiv2::ExifKey>(exif, key)) exif[key] = value;
    };
    const auto setXmp = [&](const char* key, const std::string& value) {
        if (has<Exiv2::XmpData, Exiv2::XmpKey>(xmp, key)) xmp[key] = value;
    };
    setExif("Exif.Image.Orientation", std::uint16_t(1));
    setExif("Exif.Photo.PixelXDimension", std::uint32_t(request.width));
    setExif("Exif.Photo.PixelYDimension", std::uint32_t(request.height));
    setXmp("Xmp.tiff.Orientation", "1");
    setXmp("Xmp.tiff.ImageWidth", std::to_string(request.width));
    setXmp("Xmp.tiff.ImageLength", std::to_string(request.height));
    setXmp("Xmp.exif.PixelXDimension", std::to_string(request.width));
    setXmp("Xmp.exif.PixelYDimension", std::to_string(request.height));

    const bool srgb = request.profile == Profile::srgb();
    const int colourSpace = srgb ? 1 : 0xffff;
    setExif("Exif.Photo.ColorSpace", std::uint16_t(colourSpace));
    setXmp("Xmp.exif.ColorSpace", std::to_string(colourSpace));
    const auto interoperability = exif.findKey(Exiv2::ExifKey("Exif.Iop.InteroperabilityIndex"));
    if (interoperability != exif.end()) {
        if (srgb)
            exif["Exif.Iop.InteroperabilityIndex"] = "R98";
        else if (request.profile != Profile::adobeRgb())
            exif.erase(interoperability);
    }
    // Where the colour of pixels lies that a TIFF file of RGB does not hold.
    const auto positioning = exif.findKey(Exiv2::ExifKey("Exif.Image.YCbCrPositioning"));
    if (format == FileFormat::tiff && positioning != exif.end()) exif.erase(positioning);
    const auto profileName = xmp.findKey(Exiv2::XmpKey("Xmp.photoshop.ICCProfile"));
    if (profileName != xmp.end()) xmp["Xmp.photoshop.ICCProfile"] = request.profile.name();
}

template <class Container>
std::size_t countMissing(const Container& wanted, const Container& held) {
    std::multiset<std::string> keys;
    for (const auto& datum : held) keys.insert(datum.key());
    std::size_t missing = 0;
    for (const auto& datum : wanted) {
        const auto found = keys.find(datum.key());
        if (found == keys.end())
            ++missing;
        else
            keys.erase(found);
    }
    return missing;
}

void noteMissing(const Selection& wanted, Exiv2::Image& written, FileFormat format, std::vector<std::string>& notes) {
    const auto note = [&](const char* kind, std::size_t missing) {
        if (missing)
            notes.push_back(std::string(formatName(format)) + " does not hold " + std::to_string(missing) + " of the " +
                            kind + " tags");
    };
    note("EXIF", countMissing(wanted.exif, written.exifData()));
    note("IPTC", countMissing(wanted.iptc, written.iptcData()));
    note("XMP", countMissing(wanted.xmp, written.xmpData()));
    if (wanted.comment != written.comment())
        notes.push_back(std::string(formatName(format)) + " does not hold the comment of the file");
}

Exiv2::Image::AutoPtr opened(const std::vector<unsigned char>& encoded) {
    auto image = Exiv2::ImageFactory::open(encoded.data(), static_cast<long>(encoded.size()));
    image->readMetadata();
    return image;
}

// The content of the image's stream, without a copy of it in between.
std::vector<unsigned char> content(Exiv2::Image& image) {
    Exiv2::BasicIo& io = image.io();
    if (io.open() != 0) throw Exiv2::Error(Exiv2::kerDataSourceOpenFailed, io.path(), "");
    std::vector<unsigned char> bytes(io.size());
    if (io.read(bytes.data(), static_cast<long>(bytes.size())) != static_cast<long>(bytes.size()))
        throw Exiv2::Error(Exiv2::kerFailedToReadImageData);
    io.close();
    return bytes;
}

void storeInWebp(std::vector<unsigned char>& encoded, const Selection& selection, const Profile& profile) {
    Exiv2::Blob exif;
    if (!selection.exif.empty()) Exiv2::ExifParser::encode(exif, Exiv2::littleEndian, selection.exif);
    std::string xmp;
    if (!selection.xmp.empty() && Exiv2::XmpParser::encode(xmp, selection.xmp) != 0)
        throw Exiv2::Error(Exiv2::kerErrorMessage, "XMP cannot be encoded");
    wrapWebp(encoded, profile.bytes(), exif, {xmp.begin(), xmp.end()});
}

void store(std::vector<unsigned char>& encoded, const Selection& selection) {
    const auto image = opened(encoded);
    if (image->mimeType() == "image/tiff") {
        // A TIFF file's own directory holds what its pixels need, and what the encoder found worth saying.
        auto& exif = image->exifData();
        for (auto datum = exif.begin(); datum != exif.end();)
            datum = aboutStorage(*datum) ? std::next(datum) : exif.erase(datum);
        for (const auto& datum : selection.exif) exif.add(datum);
    } else {
        image->setExifData(selection.exif);
    }
    if (Exiv2::ImageFactory::checkMode(image->imageType(), Exiv2::mdIptc) & Exiv2::amWrite)
        image->setIptcData(selection.iptc);
    image->setXmpData(selection.xmp);
    if (Exiv2::ImageFactory::checkMode(image->imageType(), Exiv2::mdComment) & Exiv2::amWrite)
        image->setComment(selection.comment);
    image->writeMetadata();
    encoded = content(*image);
}

// Drops what is allowed to be large, for a format whose EXIF segment ends at 64 KB.
bool dropLargest(Exiv2::ExifData& exif) {
    auto largest = exif.end();
    for (auto datum = exif.begin(); datum != exif.end(); ++datum)
        if (largest == exif.end() || datum->size() > largest->size()) largest = datum;
    if (largest == exif.end() || largest->size() < 1024) return false;
    exif.erase(largest);
    return true;
}

}  // namespace

void embedMetadata(std::vector<unsigned char>& encoded, FileFormat format, const MetadataRequest& request,
                   std::vector<std::string>& notes) {
    const QuietExiv2 quiet;
    try {
        Selection wanted = select(request);
        correct(wanted, format, request);
        if (!request.key.empty()) wanted.xmp["Xmp.kestrova.Key"] = request.key;
        Selection fitting = wanted;
        for (;;) {
            try {
                if (format == FileFormat::webp)
                    storeInWebp(encoded, fitting, request.profile);
                else
                    store(encoded, fitting);
                break;
            } catch (const Exiv2::AnyError& error) {
                if (error.code() != Exiv2::kerTooLargeJpegSegment || !dropLargest(fitting.exif)) throw;
            }
        }
        noteMissing(wanted, *opened(encoded), format, notes);
    } catch (const Exiv2::AnyError& error) {
        throw Error(Error::Kind::input, std::string("metadata: ") + error.what());
    }
}

}  // namespace kestrova::photo
