#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "photo/control.h"
#include "photo/export.h"
#include "photo/settings.h"
#include "photo/write.h"

/// \file
/// From a photograph's file to the file of its result: what every host does that exports photographs, so that the same
/// settings make the same bytes, whoever asks for them.

namespace kestrova::photo {

/// How the result is made and written.
struct DevelopFileOptions {
    std::optional<FileFormat> format;  ///< none: what the target's name ends in
    /// 8 or 16 bits a channel; 0: 16 where the photograph has more than 8 and the format is PNG or TIFF.
    int bits = 0;
    int quality = 92;                               ///< as in `WriteOptions`
    std::optional<Profile> profile;                 ///< none: the file's own
    MetadataChoice metadata = MetadataChoice::all;  ///< what the result keeps of EXIF, IPTC and XMP
    bool compare = false;  ///< the photograph as it was, cropped and turned likewise, to the left of the result
    /// To be stored with the result; empty: `developFileKey`, unless `metadata` is none.
    std::string key;

    int threads = 0;             ///< 0: one a processor
    std::size_t maxMemory = 0;   ///< bytes; 0 for no limit
    double maxMegapixels = 400;  ///< larger photographs are refused
};

/// Stands for all that a result depends on: the photograph's bytes, the settings, how it is written, the version of
/// this library. Ignores `key`. Throws `Error` of kind file.
KESTROVA_PHOTO_EXPORT std::string developFileKey(const std::string& input, const Settings& settings,
                                                 const std::string& output, const DevelopFileOptions& options);

/// Reads, develops and writes one photograph; makes the folder of the result. The notes of its report say what the
/// result does not hold of the file. Replaces what stands at `output`: a host that must not asks first.
///
/// `control`, which may be null, hears of the progress and can cancel. Throws `Error`; the target is then as it was.
KESTROVA_PHOTO_EXPORT WriteReport developFile(const std::string& input, const Settings& settings,
                                              const std::string& output, const DevelopFileOptions& options = {},
                                              Control* control = nullptr);
/// The same, but never replaces a file, not even one that appears while this works: throws `Error` of kind input then.
KESTROVA_PHOTO_EXPORT WriteReport developToNewFile(const std::string& input, const Settings& settings,
                                                   const std::string& output, const DevelopFileOptions& options = {},
                                                   Control* control = nullptr);

}  // namespace kestrova::photo
