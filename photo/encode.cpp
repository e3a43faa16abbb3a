#include "photo/encode.h"

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "photo/decode.h"
#include "photo/encode_jpeg.h"
#include "photo/encode_webp.h"
#include "photo/error.h"
#include "photo/png_writer.h"
#include "photo/profile_data.h"
#include "photo/rows.h"

namespace kestrova::photo {

namespace {

using OIIO::ImageOutput;
using OIIO::ImageSpec;
using OIIO::TypeDesc;

constexpr int kBand = 64;

struct Plan {
    FileFormat format = FileFormat::jpeg;
    int channels = 3;
    int bits = 8;
    bool blend = false;  // alpha over white
    Profile pixels;      // of the photograph
    Profile embedded;
};

template <class Value>
bool isGrey(const cv::Mat& pixels, int threads) {
    std::atomic<bool> grey{true};
    shareRows(pixels.rows, threads, [&](int r) {
        if (!grey) return;
        const Value* p = pixels.ptr<Value>(r);
        for (int x = 0; x < pixels.cols; ++x, p += 4)
            if (p[0] != p[1] || p[1] != p[2]) {
                grey = false;
                return;
            }
    });
    return grey;
}

bool isGrey(const cv::Mat& pixels, int threads) {
    return pixels.depth() == CV_8U ? isGrey<uchar>(pixels, threads) : isGrey<ushort>(pixels, threads);
}

// A grey profile goes with grey pixels in the RGB space of its curve.
bool writesGrey(const Photograph& photograph, int threads) {
    if (!photograph.grey || !isGrey(photograph.pixels, threads)) return false;
    if (photograph.outputProfile.channels() == 3)
        return photograph.outputProfile == Profile::srgb() && photograph.profile == Profile::srgb();
    const auto rgb = rgbLikeGrey(photograph.outputProfile);
    return rgb && *rgb == photograph.profile;
}

Plan planFor(const Photograph& photograph, FileFormat format, int bits, int threads, std::vector<std::string>& notes) {
    Plan plan;
    plan.format = format;
    plan.bits = bits;
    plan.pixels = photograph.profile;
    const bool holdsAlpha = format != FileFormat::jpeg;
    plan.blend = photograph.hasAlpha && !holdsAlpha;
    if (plan.blend) notes.push_back("JPEG does not hold alpha; the picture was laid over white");
    if (bits == 8 && photograph.sourceBits > 8)
        notes.push_back(std::to_string(photograph.sourceBits) + " bits a channel were rounded to 8");
    const bool grey = format != FileFormat::webp && writesGrey(photograph, threads);
    if (grey) {
        plan.embedded = photograph.outputProfile.channels() == 1 ? photograph.outputProfile : greySrgb();
    } else {
        plan.embedded = photograph.outputProfile.channels() == 3 ? photograph.outputProfile : photograph.profile;
        if (photograph.outputProfile.channels() != 3)
            notes.push_back("the picture is no longer grey; its profile became \"" + plan.embedded.name() + '"');
    }
    plan.channels = (grey ? 1 : 3) + (photograph.hasAlpha && holdsAlpha ? 1 : 0);
    return plan;
}

// Zeros where the metadata has none or is not to be written.
struct Resolution {
    float x = 0, y = 0;
    bool perCentimetre = false;
};

Resolution resolutionOf(const Photograph& photograph, const WriteOptions& options) {
    if (!photograph.metadata || options.metadata != MetadataChoice::all) return {};
    const auto number = [&](const char* key) {
        const std::string text = photograph.metadata->text(key);  // a fraction
        const std::size_t slash = text.find('/');
        const double below = slash == std::string::npos ? 1 : std::atof(text.c_str() + slash + 1);
        return below > 0 ? static_cast<float>(std::atof(text.c_str()) / below) : 0.0f;
    };
    const Resolution resolution = {number("Exif.Image.XResolution"), number("Exif.Image.YResolution"),
                                   photograph.metadata->text("Exif.Image.ResolutionUnit") == "3"};
    return resolution.x > 0 && resolution.y > 0 ? resolution : Resolution{};
}

ImageSpec specFor(const Plan& plan, cv::Size size, const Photograph& photograph, const WriteOptions& options) {
    ImageSpec spec(size.width, size.height, plan.channels, plan.bits == 16 ? TypeDesc::UINT16 : TypeDesc::UINT8);
    const bool alpha = plan.channels == 2 || plan.channels == 4;
    spec.alpha_channel = alpha ? plan.channels - 1 : -1;
    if (alpha) spec.attribute("oiio:UnassociatedAlpha", 1);
    const auto& icc = plan.embedded.bytes();
    spec.attribute("ICCProfile", TypeDesc(TypeDesc::UINT8, static_cast<int>(icc.size())), icc.data());
    spec.attribute("Compression", "zip");
    spec.attribute("tiff:RowsPerStrip", kBand);
    const Resolution resolution = resolutionOf(photograph, options);
    if (resolution.x > 0) {
        spec.attribute("XResolution", resolution.x);
        spec.attribute("YResolution", resolution.y);
        spec.attribute("ResolutionUnit", resolution.perCentimetre ? "cm" : "in");
    }
    return spec;
}

// A row of B, G, R, A of 16 bits, in place over white.
void blendOverWhite(ushort* row, int width) {
    for (int x = 0; x < width; ++x, row += 4) {
        const unsigned alpha = row[3];
        for (int c = 0; c < 3; ++c)
            row[c] = static_cast<ushort>((row[c] * alpha + 65535u * (65535u - alpha) + 32767u) / 65535u);
    }
}

unsigned char rounded8(ushort value) { return static_cast<unsigned char>((value + 128) / 257); }

template <class In, class Value, class Code>
void packRow(const In* in, Value* out, int width, int channels, const Code& code) {
    for (int x = 0; x < width; ++x, in += 4, out += channels) {
        int c = 0;
        if (channels >= 3) {
            out[0] = code(in[2]);
            out[1] = code(in[1]);
            c = 2;
        }
        out[c] = code(in[0]);
        if (channels == 2 || channels == 4) out[c + 1] = code(in[3]);
    }
}

[[noreturn]] void refuse(const ImageOutput& output) {
    std::string reason = output.geterror();
    reason.erase(std::find(reason.begin(), reason.end(), '\n'), reason.end());
    throw Error(Error::Kind::input, reason.empty() ? "cannot be encoded" : reason);
}

void checkSize(cv::Size size, FileFormat format) {
    const int most = format == FileFormat::webp ? 16383 : format == FileFormat::jpeg ? 65500 : 1 << 30;
    if (size.width > most || size.height > most)
        throw Error(Error::Kind::input, std::string(formatName(format)) + " holds at most " + std::to_string(most) +
                                            " pixels a side, the picture has " + std::to_string(size.width) + " x " +
                                            std::to_string(size.height));
}

// Converts bands of the photograph to what its file holds.
class Bands {
public:
    Bands(const Photograph& photograph, const Plan& plan, int threads)
        : m_pixels(photograph.pixels),
          m_plan(plan),
          m_threads(threads),
          m_target(plan.embedded.channels() == 3 ? plan.embedded : plan.pixels),
          m_transform(plan.pixels, m_target) {}

    /// The rows from `top` on in B, G, R, A of 16 bits.
    cv::Mat& convert(int top, int rows) {
        cv::Mat band = m_pixels.rowRange(top, top + rows);
        if (band.depth() == CV_8U) {
            band.convertTo(m_widened, CV_16U, 257);
            band = m_widened;
        }
        m_transform.apply(band, m_converted, m_threads);
        if (m_plan.blend)
            shareRows(rows, m_threads, [&](int r) { blendOverWhite(m_converted.ptr<ushort>(r), m_pixels.cols); });
        return m_converted;
    }

    /// Likewise, as the file holds them.
    const unsigned char* pack(int top, int rows) {
        m_packed.resize(rowBytes() * rows);
        if (m_asTheyAre) {
            shareRows(rows, m_threads, [&](int r) {
                packRow(m_pixels.ptr<uchar>(top + r), m_packed.data() + r * rowBytes(), m_pixels.cols, m_plan.channels,
                        [](uchar v) { return v; });
            });
            return m_packed.data();
        }
        const cv::Mat& converted = convert(top, rows);
        shareRows(rows, m_threads, [&](int r) {
            const auto* row = converted.ptr<ushort>(r);
            unsigned char* out = m_packed.data() + r * rowBytes();
            if (m_plan.bits == 16)
                packRow(row, reinterpret_cast<ushort*>(out), m_pixels.cols, m_plan.channels,
                        [](ushort v) { return v; });
            else
                packRow(row, out, m_pixels.cols, m_plan.channels, rounded8);
        });
        return m_packed.data();
    }
    std::size_t rowBytes() const { return std::size_t(m_pixels.cols) * m_plan.channels * (m_plan.bits / 8); }

private:
    const cv::Mat& m_pixels;
    const Plan& m_plan;
    int m_threads;
    Profile m_target;
    ColourTransform m_transform;
    /// Whether pixels of 8 bits become bytes of the file without a change.
    bool m_asTheyAre = m_pixels.depth() == CV_8U && m_plan.bits == 8 && !m_plan.blend && m_plan.pixels == m_target;
    cv::Mat m_widened, m_converted;
    std::vector<unsigned char> m_packed;
};

void checkCancelled(const WriteOptions& options) {
    if (options.cancel && *options.cancel) throw Error(Error::Kind::cancelled, "cancelled");
}

std::vector<unsigned char> encodeAsTiff(const Photograph& photograph, const Plan& plan, const WriteOptions& options) {
    const cv::Mat& pixels = photograph.pixels;
    const int threads = threadCount(options.threads);
    checkCancelled(options);
    const ImageSpec spec = specFor(plan, pixels.size(), photograph, options);
    // They outlive the output, which writes to them when it is destroyed, too.
    std::vector<unsigned char> bytes;
    OIIO::Filesystem::IOVecOutput memory(bytes);
    const auto output = ImageOutput::create("tiff");
    if (!output) throw Error(Error::Kind::input, "TIFF files are not written by this OpenImageIO");
    output->threads(threads);
    output->set_ioproxy(&memory);
    if (!output->open("memory.tif", spec)) refuse(*output);

    Bands bands(photograph, plan, threads);
    for (int top = 0; top < pixels.rows; top += kBand) {
        checkCancelled(options);
        const int rows = std::min(kBand, pixels.rows - top);
        const unsigned char* packed = bands.pack(top, rows);
        if (!output->write_scanlines(top, top + rows, 0, spec.format, packed)) refuse(*output);
    }
    if (!output->close()) refuse(*output);
    return bytes;
}

std::vector<unsigned char> encodeAsJpeg(const Photograph& photograph, const Plan& plan, const WriteOptions& options) {
    const Resolution resolution = resolutionOf(photograph, options);
    JpegRequest request;
    request.size = photograph.pixels.size();
    request.channels = plan.channels;
    request.quality = options.quality;
    request.fullChroma = options.chroma == ChromaSampling::full ||
                         (options.chroma == ChromaSampling::byQuality && options.quality >= 90);
    request.icc = plan.embedded.bytes();
    request.dotsX = resolution.x;
    request.dotsY = resolution.y;
    request.dotsPerCentimetre = resolution.perCentimetre;
    request.threads = threadCount(options.threads);
    request.cancel = options.cancel;
    const Bands bands(photograph, plan, 1);
    return encodeJpeg(request, [&](int top, int rows, unsigned char* out) {
        Bands own = bands;
        std::memcpy(out, own.pack(top, rows), own.rowBytes() * rows);
    });
}

std::vector<unsigned char> encodeAsPng(const Photograph& photograph, const Plan& plan, const WriteOptions& options) {
    const cv::Mat& pixels = photograph.pixels;
    PngWriter writer(pixels.cols, pixels.rows, plan.channels, plan.bits, plan.embedded.bytes());
    const Resolution resolution = resolutionOf(photograph, options);
    const auto perMetre = [&](float value) {
        return static_cast<unsigned>(
            std::min(1e9, std::round(double(value) * (resolution.perCentimetre ? 100 : 1 / 0.0254))));
    };
    if (resolution.x > 0) writer.setResolution(perMetre(resolution.x), perMetre(resolution.y));
    Bands bands(photograph, plan, threadCount(options.threads));
    for (int top = 0; top < pixels.rows; top += kBand) {
        const int rows = std::min(kBand, pixels.rows - top);
        const unsigned char* packed = bands.pack(top, rows);
        for (int r = 0; r < rows; ++r) {
            checkCancelled(options);
            writer.write(packed + r * bands.rowBytes());
        }
    }
    return writer.finish();
}

std::vector<unsigned char> encodeAsWebp(const Photograph& photograph, const Plan& plan, const WriteOptions& options) {
    const cv::Mat& pixels = photograph.pixels;
    const int threads = threadCount(options.threads);
    Bands bands(photograph, plan, threads);
    cv::Mat whole(pixels.size(), CV_8UC4);
    for (int top = 0; top < pixels.rows; top += kBand) {
        checkCancelled(options);
        const int rows = std::min(kBand, pixels.rows - top);
        const cv::Mat& converted = bands.convert(top, rows);
        shareRows(rows, threads, [&](int r) {
            std::transform(converted.ptr<ushort>(r), converted.ptr<ushort>(r) + 4 * pixels.cols,
                           whole.ptr<uchar>(top + r), rounded8);
        });
    }
    return encodeWebp(whole, photograph.hasAlpha, options.quality, threads, options.cancel);
}

}  // namespace

std::vector<unsigned char> encode(const Photograph& photograph, FileFormat format, int bits,
                                  const WriteOptions& options, Profile& profile, std::vector<std::string>& notes) {
    checkSize(photograph.pixels.size(), format);
    const Plan plan = planFor(photograph, format, bits, threadCount(options.threads), notes);
    profile = plan.embedded;
    switch (format) {
        case FileFormat::png: return encodeAsPng(photograph, plan, options);
        case FileFormat::webp: return encodeAsWebp(photograph, plan, options);
        case FileFormat::jpeg: return encodeAsJpeg(photograph, plan, options);
        case FileFormat::tiff: return encodeAsTiff(photograph, plan, options);
        default: throw Error(Error::Kind::input, std::string(formatName(format)) + " files are not written");
    }
}

}  // namespace kestrova::photo
