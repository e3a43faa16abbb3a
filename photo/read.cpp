#include "photo/read.h"

#include <omp.h>

#include <algorithm>
#include <new>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <sstream>

#include "photo/decode.h"
#include "photo/embedded_preview.h"
#include "photo/error.h"
#include "photo/metadata_data.h"
#include "photo/named_error.h"
#include "photo/orientation.h"
#include "photo/profile_data.h"

namespace kestrova::photo {

namespace {

constexpr std::int64_t kFreeOfRatio = 16'000'000;
constexpr std::int64_t kMostPixelsPerByte = 10'000;

std::string megapixels(double pixels) {
    std::ostringstream text;
    text.precision(4);
    text << pixels / 1e6 << " megapixels";
    return text.str();
}

// Damaged metadata is no reason to refuse a picture.
std::shared_ptr<const Metadata> metadataOrNote(const std::string& path, std::vector<unsigned char>& icc,
                                               std::vector<std::string>& notes) {
    try {
        return readMetadata(path, icc);
    } catch (const Error&) {
        notes.push_back("the metadata is damaged and was not read");
        return nullptr;
    }
}

// Decides the profile of the pixels, converting those that are not RGB.
void settleProfile(Photograph& photograph, Decoded& decoded, const std::vector<unsigned char>& icc, FileFormat format,
                   int threads) {
    if (decoded.cmyk) {
        photograph.profile = photograph.outputProfile = convertCmyk(decoded.pixels, icc, photograph.notes, threads);
        return;
    }
    const bool adobe =
        icc.empty() && format == FileFormat::jpeg && photograph.metadata && photograph.metadata->data().saysAdobeRgb();
    photograph.profile = adobe ? Profile::adobeRgb() : decoded.profile;
    if (!icc.empty()) {
        try {
            photograph.profile = Profile::fromBytes(icc);
        } catch (const Error& error) {
            photograph.notes.push_back(std::string("the file's profile is ") + error.what() + "; sRGB was assumed");
            photograph.profile = Profile::srgb();
        }
    }
    photograph.outputProfile = format == FileFormat::raw ? Profile::displayP3() : photograph.profile;
    if (photograph.profile.channels() == 1 && decoded.grey) {
        const auto rgb = rgbLikeGrey(photograph.profile);
        if (!rgb) photograph.notes.push_back("the grey profile has no curve; sRGB was assumed");
        photograph.profile = rgb ? *rgb : Profile::srgb();
        if (!rgb) photograph.outputProfile = photograph.profile;
    } else if (photograph.profile.channels() != 3) {
        photograph.notes.push_back("the file's profile \"" + photograph.profile.name() +
                                   "\" is not for its channels; sRGB was assumed");
        photograph.profile = photograph.outputProfile = Profile::srgb();
    }
}

Photograph finished(Decoded decoded, const std::string& path, FileFormat format, const ReadOptions& options) {
    checkCancelled(options);
    Photograph photograph;
    photograph.notes = std::move(decoded.notes);
    std::vector<unsigned char> icc;
    photograph.metadata = metadataOrNote(path, icc, photograph.notes);
    // Of previews in RAW, of any picture of a HEIF file.
    if (format == FileFormat::raw || format == FileFormat::heif) icc.clear();
    if (!decoded.icc.empty()) icc = decoded.icc;
    photograph.hasAlpha = decoded.hasAlpha;
    photograph.sourceBits = decoded.sourceBits;
    photograph.grey = decoded.grey;
    const int threads = threadCount(options.threads);
    settleProfile(photograph, decoded, icc, format, threads);
    const int orientation = decoded.upright || !photograph.metadata ? 1 : photograph.metadata->orientation();
    photograph.pixels = upright(decoded.pixels, orientation, threads);
    return photograph;
}

// `reduction` is for JPEG alone.
Decoded decode(const std::string& path, const FileFacts& facts, int reduction, const ReadOptions& options) {
    switch (facts.format) {
        case FileFormat::jpeg: return decodeJpeg(path, reduction, options);
        case FileFormat::png: return decodePng(path, facts, options);
        case FileFormat::heif: return decodeHeif(path, facts, options);
        case FileFormat::webp: return decodeWebp(path, facts, options);
        default: return decodeOther(path, facts, options);
    }
}

// How far JPEG's own reduction may go.
int reductionFor(int longSide, int longEdge) {
    int reduction = 1;
    while (reduction < 8 && longSide / (2 * reduction) >= longEdge) reduction *= 2;
    return reduction;
}

// What a preview without a profile is in: of a RAW file what the camera says; of a JPEG sRGB if the picture itself is,
// empty otherwise.
std::vector<unsigned char> profileOfPreview(const std::string& path, FileFormat format) {
    std::vector<unsigned char> icc;
    const auto metadata = readMetadata(path, icc);
    const bool adobe = metadata && metadata->data().saysAdobeRgb();
    if (format == FileFormat::raw) return (adobe ? Profile::adobeRgb() : Profile::srgb()).bytes();
    const bool srgb = icc.empty() ? !adobe : Profile::fromBytes(icc) == Profile::srgb();
    return srgb ? Profile::srgb().bytes() : std::vector<unsigned char>();
}

// None if the file has no preview that may stand for it. A damaged one does not count.
std::optional<Photograph> readEmbedded(const std::string& path, const FileFacts& facts, int longEdge,
                                       const ReadOptions& options) {
    try {
        if (facts.format == FileFormat::heif) {
            auto decoded = decodeHeifThumbnail(path, facts, longEdge, options);
            if (!decoded) return std::nullopt;
            return finished(std::move(*decoded), path, facts.format, options);
        }
        const EmbeddedPreview preview = findEmbeddedPreview(path, facts, longEdge);
        if (preview.bytes.empty()) return std::nullopt;
        Decoded decoded = decodeJpeg(preview.bytes, path, reductionFor(preview.longSide, longEdge), options);
        if (decoded.cmyk) return std::nullopt;
        if (decoded.icc.empty()) decoded.icc = profileOfPreview(path, facts.format);
        if (decoded.icc.empty()) return std::nullopt;
        return finished(std::move(decoded), path, facts.format, options);
    } catch (const Error& error) {
        if (error.kind() != Error::Kind::input) throw;
        return std::nullopt;
    }
}

// The one place where reading's failures become errors of the layer.
template <class Work>
Photograph translated(const std::string& path, const Work& work) {
    try {
        return work();
    } catch (const Error& error) {
        throw named(error, path);
    } catch (const std::bad_alloc&) {
        throw Error(Error::Kind::memory, path + ": not enough memory to read it");
    } catch (const cv::Exception& error) {
        const bool memory = error.code == cv::Error::StsNoMem;
        throw Error(memory ? Error::Kind::memory : Error::Kind::input,
                    path + (memory ? ": not enough memory to read it" : ": cannot be decoded"));
    } catch (const std::exception& error) {
        throw Error(Error::Kind::input, path + ": " + error.what());
    }
}

}  // namespace

int threadCount(int asked) { return asked > 0 ? asked : omp_get_num_procs(); }

void checkLimits(const std::string& path, std::int64_t width, std::int64_t height, std::uintmax_t fileBytes, int copies,
                 const ReadOptions& options) {
    if (width < 1 || height < 1) throw Error(Error::Kind::input, path + ": has no pixels");
    const bool countable = width < (1 << 30) && height < (1 << 30);
    const std::int64_t pixels = countable ? width * height : std::int64_t(1) << 60;
    if (!countable || !(double(pixels) <= options.maxMegapixels * 1e6))  // a limit of NaN lets nothing pass
        throw Error(Error::Kind::input, path + ": declares " + megapixels(double(pixels)) +
                                            ", more than the limit of " + megapixels(options.maxMegapixels * 1e6));
    if (pixels > kFreeOfRatio && pixels / static_cast<std::int64_t>(fileBytes) > kMostPixelsPerByte)
        throw Error(Error::Kind::input, path + ": declares " + megapixels(double(pixels)) + " in " +
                                            std::to_string(fileBytes) + " bytes, which no photograph does");
    const double need = double(pixels) * 8 * copies;
    if (options.maxMemory && need > double(options.maxMemory))
        throw Error(Error::Kind::memory, path + ": takes about " + std::to_string(std::int64_t(need / 1e6)) +
                                             " MB to read, more than the limit of " +
                                             std::to_string(options.maxMemory / 1'000'000) + " MB");
}

void checkCancelled(const ReadOptions& options) {
    if (options.cancel && *options.cancel) throw Error(Error::Kind::cancelled, "cancelled");
}

Photograph readPhotograph(const std::string& path, const ReadOptions& options) {
    return translated(path, [&] {
        const FileFacts facts = examineFile(path);
        if (facts.width || facts.height) checkLimits(path, facts.width, facts.height, facts.bytes, 2, options);
        return finished(decode(path, facts, 1, options), path, facts.format, options);
    });
}

Photograph readPreview(const std::string& path, int longEdge, const ReadOptions& options) {
    if (longEdge < 1) throw Error(Error::Kind::programming, "a preview has a longer side of at least 1");
    return translated(path, [&] {
        const FileFacts facts = examineFile(path);
        if (facts.width || facts.height) checkLimits(path, facts.width, facts.height, facts.bytes, 2, options);
        const int longSide = std::max(facts.width, facts.height);
        std::optional<Photograph> embedded = readEmbedded(path, facts, longEdge, options);
        Photograph photograph = embedded ? std::move(*embedded)
                                         : finished(decode(path, facts, reductionFor(longSide, longEdge), options),
                                                    path, facts.format, options);
        const int whole = std::max(photograph.pixels.cols, photograph.pixels.rows);
        if (whole >= 2 * longEdge) {
            const double scale = double(longEdge) / whole;
            const cv::Size size(std::max(1, int(photograph.pixels.cols * scale + 0.5)),
                                std::max(1, int(photograph.pixels.rows * scale + 0.5)));
            cv::Mat small;
            cv::resize(photograph.pixels, small, size, 0, 0, cv::INTER_AREA);
            photograph.pixels = small;
        }
        return photograph;
    });
}

}  // namespace kestrova::photo
