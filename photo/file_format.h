#pragma once

#include <cstdint>
#include <string>

#include "photo/export.h"

namespace kestrova::photo {

/// The formats that photographs are read from. JPEG, PNG, TIFF and WebP are written, too.
enum class FileFormat { jpeg, png, tiff, webp, heif, jpeg2000, openexr, raw };

/// What a file says of itself before any pixel is decoded.
struct KESTROVA_PHOTO_EXPORT FileFacts {
    FileFormat format = FileFormat::jpeg;  ///< by its first bytes
    int width = 0;   ///< as stored, before orientation; 0 where only decoding tells (RAW, some TIFF and OpenEXR files)
    int height = 0;  ///< likewise
    std::uintmax_t bytes = 0;  ///< size of the file
};

/// Recognises a file by its first bytes; its name only tells RAW from TIFF. Throws `Error` of kind file if it cannot be
/// opened or read, of kind input if it is a folder, a device or a pipe, empty, or of no format that is read.
KESTROVA_PHOTO_EXPORT FileFacts examineFile(const std::string& path);

/// Whether a name ends like a photograph's that is read: `.jpg`, `.NEF` and so on. For walks through folders.
KESTROVA_PHOTO_EXPORT bool hasPhotographName(const std::string& path);

/// "JPEG", "PNG", "TIFF", "WebP", "HEIF", "JPEG 2000", "OpenEXR", "RAW".
KESTROVA_PHOTO_EXPORT const char* formatName(FileFormat format);

}  // namespace kestrova::photo
