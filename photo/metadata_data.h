#pragma once

#include <exiv2/exiv2.hpp>

#include <string>
#include <vector>

#include "photo/file_format.h"
#include "photo/metadata.h"
#include "photo/profile.h"

namespace kestrova::photo {

struct Metadata::Data {
    Exiv2::ExifData exif;
    Exiv2::IptcData iptc;
    Exiv2::XmpData xmp;
    std::string comment;  ///< of the file itself, as JPEG and PNG have it

    /// Whether a camera says Adobe RGB by the words that stand for an embedded profile.
    bool saysAdobeRgb() const;
};

/// While one lives, Exiv2's messages of this thread go nowhere; other threads' go where the host sent them. The first
/// also prepares Exiv2 for use by several threads.
class QuietExiv2 {
public:
    QuietExiv2();
    ~QuietExiv2();
    QuietExiv2(const QuietExiv2&) = delete;
    QuietExiv2& operator=(const QuietExiv2&) = delete;
};

/// The file's metadata, null if it has none, and its profile, empty if it has none.
std::shared_ptr<const Metadata> readMetadata(const std::string& path, std::vector<unsigned char>& profile);

/// What `embedMetadata` writes.
struct MetadataRequest {
    const Metadata* metadata = nullptr;  ///< may be null
    MetadataChoice choice = MetadataChoice::all;
    int width = 0, height = 0;  ///< of the picture written
    Profile profile;            ///< of the picture written
    std::string key;            ///< of `Xmp.kestrova.Key`; none if empty
};

/// Gives an encoded picture its metadata, in place of any that it has, and WebP its profile, too; what its format
/// cannot hold is added to `notes`.
void embedMetadata(std::vector<unsigned char>& encoded, FileFormat format, const MetadataRequest& request,
                   std::vector<std::string>& notes);

}  // namespace kestrova::photo
