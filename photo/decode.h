#pragma once

#include <optional>
#include <string>
#include <vector>

#include "photo/read.h"

namespace kestrova::photo {

/// Pixels as stored in a file, and what was noticed while they were read.
struct Decoded {
    cv::Mat pixels;  ///< CV_16UC4: B, G, R, A; or C, M, Y, K with 65535 for full ink
    bool hasAlpha = false;
    bool cmyk = false;
    bool grey = false;
    bool upright = false;  ///< whether the decoder turned it already
    int sourceBits = 8;
    std::vector<unsigned char> icc;  ///< empty if the file carries none
    Profile profile;                 ///< for files without `icc`
    std::vector<std::string> notes;
};

/// Throws `Error` if a picture of so many pixels is over a limit. `copies` counts the buffers of 8 bytes a pixel that
/// reading it takes.
void checkLimits(const std::string& path, std::int64_t width, std::int64_t height, std::uintmax_t fileBytes, int copies,
                 const ReadOptions& options);

void checkCancelled(const ReadOptions& options);

/// By libjpeg, which unlike OpenImageIO says when data is missing, leaves CMYK as it is and decodes at a fraction of
/// the size: 1 / `reduction`, one of 1, 2, 4, 8.
Decoded decodeJpeg(const std::string& path, int reduction, const ReadOptions& options);
/// The same of a JPEG in memory; `path` is for messages.
Decoded decodeJpeg(const std::vector<unsigned char>& bytes, const std::string& path, int reduction,
                   const ReadOptions& options);

/// By libpng: OpenImageIO lets it print what is wrong with a file.
Decoded decodePng(const std::string& path, const FileFacts& facts, const ReadOptions& options);

/// By libheif: OpenImageIO takes the size that a file declares for that of what was decoded, and knows no 10 bits.
Decoded decodeHeif(const std::string& path, const FileFacts& facts, const ReadOptions& options);
/// The smallest thumbnail in the file whose longer side has at least `longEdge` pixels and that has the shape of the
/// picture, if there is one.
std::optional<Decoded> decodeHeifThumbnail(const std::string& path, const FileFacts& facts, int longEdge,
                                           const ReadOptions& options);

/// By libwebp: OpenImageIO multiplies colours by alpha, which loses those of transparent pixels.
Decoded decodeWebp(const std::string& path, const FileFacts& facts, const ReadOptions& options);

/// By OpenImageIO.
Decoded decodeOther(const std::string& path, const FileFacts& facts, const ReadOptions& options);

/// The number of threads that `asked`, 0 for all, stands for.
int threadCount(int asked);

/// Converts C, M, Y, K to B, G, R, A in place. Without a profile by a plain formula, else to Display P3.
Profile convertCmyk(cv::Mat& pixels, const std::vector<unsigned char>& icc, std::vector<std::string>& notes,
                    int threads);

}  // namespace kestrova::photo
