#pragma once

#include <memory>
#include <string>
#include <vector>

#include "photo/export.h"

namespace kestrova::photo {

/// What of a photograph's metadata a file made of it gets.
enum class MetadataChoice {
    all,        ///< EXIF with the maker's notes, IPTC, XMP and the file's comment; orientation, size and colour space
                ///< as they now are
    copyright,  ///< who made it and whose it is
    none,
};

/// EXIF, IPTC and XMP of a file, as read by Exiv2. Immutable; may be used from several threads at once.
class KESTROVA_PHOTO_EXPORT Metadata {
public:
    /// Null if the file carries none. Throws `Error` of kind file if it cannot be opened, of kind input if it is
    /// damaged.
    static std::shared_ptr<const Metadata> fromFile(const std::string& path);

    /// Exiv2's names: "Exif.Image.Model", "Iptc.Application2.Copyright", "Xmp.dc.title".
    std::vector<std::string> keys() const;
    /// The value as text, empty if there is none. Of a tag that occurs several times the first is taken.
    std::string text(const std::string& key) const;
    /// EXIF's orientation, 1 to 8; 1 if there is none.
    int orientation() const;

    struct KESTROVA_PHOTO_HIDDEN Data;
    /// For the layer's own use.
    KESTROVA_PHOTO_HIDDEN explicit Metadata(std::shared_ptr<const Data> data);
    /// For the layer's own use.
    const Data& data() const { return *m_data; }

private:
    std::shared_ptr<const Data> m_data;
};

}  // namespace kestrova::photo
