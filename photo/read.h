#pragma once

#include <atomic>
#include <cstddef>
#include <string>

#include "photo/export.h"
#include "photo/file_format.h"
#include "photo/photograph.h"

namespace kestrova::photo {

/// How to read, and what to refuse.
struct ReadOptions {
    /// Refuses more pixels, in millions. Besides, files that declare over 16 million pixels and more than 10,000 for
    /// each of their bytes are refused at any limit.
    double maxMegapixels = 400;
    /// Refuses photographs that take more memory than this while they are read, in bytes; 0 for no limit.
    std::size_t maxMemory = 0;
    /// At most so many threads; 0 for one a processor.
    int threads = 0;
    /// Set from any thread, ends the reading with `Error` of kind cancelled; may be null. HEIF, JPEG 2000 and RAW
    /// are decoded in one piece: there it ends after the piece.
    const std::atomic<bool>* cancel = nullptr;
};

/// Reads a photograph of any format of `FileFormat`.
///
/// - 8-bit values v become 257 v, float values 0..1 become 0..65535; OpenEXR's light is encoded by sRGB's curve.
/// - RAW files are developed by LibRaw with the camera's white balance, AHD, no automatic brightening, highlights
///   clipped where the first channel is full, into 16 bits of ProPhoto RGB.
/// - CMYK is converted by its profile to Display P3; without a profile by a plain formula to sRGB, with a note.
/// - HEIF and AVIF may name Display P3 by numbers; numbers that are not known become sRGB, with a note.
/// - JPEG without a profile whose EXIF says Adobe RGB is Adobe RGB; all else without a profile is sRGB.
/// - Of a file with several pictures the first is read, and a note says so.
///
/// Throws `Error`: of kind file if it cannot be opened or read, of kind input if it is no photograph, damaged, cut
/// short or too large, of kind memory if memory or its limit does not suffice, of kind cancelled. Prints nothing.
KESTROVA_PHOTO_EXPORT Photograph readPhotograph(const std::string& path, const ReadOptions& options = {});

/// A small picture of the same photograph, for lists and first views. Its longer side has at least `longEdge` pixels
/// where the file has as many, and less than twice as many.
///
/// A preview that the camera has put into a JPEG, HEIF or RAW file is taken where it is large enough and has the shape
/// of the photograph: of RAW as the camera has developed it, in its own profile or what the camera says; of JPEG where
/// both are sRGB or the preview has a profile. Else JPEG is decoded at a fraction of its size, all others are read
/// whole and reduced.
KESTROVA_PHOTO_EXPORT Photograph readPreview(const std::string& path, int longEdge, const ReadOptions& options = {});

}  // namespace kestrova::photo
