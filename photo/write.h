#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "photo/export.h"
#include "photo/file_format.h"
#include "photo/metadata.h"
#include "photo/photograph.h"

namespace kestrova::photo {

/// How finely JPEG stores colour.
enum class ChromaSampling {
    byQuality,  ///< full from quality 90 on, half below
    full,       ///< 4:4:4
    half,       ///< 4:2:0
};

/// How to write.
struct WriteOptions {
    /// JPEG, PNG, TIFF or WebP; none for what the name ends in.
    std::optional<FileFormat> format;
    /// 8 or 16 bits a channel; 0 for those of the source as far as the format holds them.
    int bits = 0;
    /// Of JPEG and WebP, 1 to 100; WebP at 100 is lossless.
    int quality = 92;
    /// Of JPEG.
    ChromaSampling chroma = ChromaSampling::byQuality;
    /// What to carry along.
    MetadataChoice metadata = MetadataChoice::all;
    /// Stored as XMP's `Xmp.kestrova.Key` whatever `metadata` says; nothing if empty.
    std::string key;
    /// At most so many threads; 0 for one a processor.
    int threads = 0;
    /// Set from any thread, ends the writing with `Error` of kind cancelled; may be null.
    const std::atomic<bool>* cancel = nullptr;
};

/// What became of it.
struct KESTROVA_PHOTO_EXPORT WriteReport {
    std::uintmax_t bytes = 0;        ///< size of the file
    std::vector<std::string> notes;  ///< what of the photograph the file does not hold
};

/// The format that a name stands for: JPEG, PNG, TIFF or WebP; none for all others.
KESTROVA_PHOTO_EXPORT std::optional<FileFormat> writtenFormat(const std::string& path);

/// Throws what `writePhotograph` would throw of a target that cannot be written: the name of no format, a folder that
/// is not there or not writable, a device, a pipe. Writes nothing.
KESTROVA_PHOTO_EXPORT void checkWritable(const std::string& path, const WriteOptions& options = {});

/// Writes a photograph in its `outputProfile`, which is embedded. Its pixels may be CV_8UC4, too, as rendered in 8
/// bits.
///
/// The file is whole or not there: it is made beside the target and replaces it in one step when it is on the disk. The
/// mode, access list and user attributes of a file that is replaced are kept; a symbolic link stays and the file that
/// it leads to is replaced. 16 bits are rounded to 8 without dithering, so that what was read from 8 bits is written as
/// it was. Alpha is blended over white where the format has none. The thumbnail in the metadata is left out: it would
/// show the photograph as it was.
///
/// Throws `Error`: of kind input for values out of range and pictures that the format is too small for, of kind file
/// for a target that cannot be written, a full disk and so on, of kind memory, of kind cancelled. Then the target is as
/// it was. Prints nothing.
KESTROVA_PHOTO_EXPORT WriteReport writePhotograph(const Photograph& photograph, const std::string& path,
                                                  const WriteOptions& options = {});
/// The same, but never replaces a file, not even one that appears while this works: throws `Error` of kind input then.
KESTROVA_PHOTO_EXPORT WriteReport writeNewPhotograph(const Photograph& photograph, const std::string& path,
                                                     const WriteOptions& options = {});

}  // namespace kestrova::photo
