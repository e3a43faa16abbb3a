#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <memory>

#include "photo/decode.h"
#include "photo/error.h"
#include "photo/profile_data.h"
#include "photo/rows.h"

namespace kestrova::photo {

namespace {

using OIIO::ImageInput;
using OIIO::ImageSpec;
using OIIO::TypeDesc;

const char* pluginName(FileFormat format) {
    switch (format) {
        case FileFormat::tiff: return "tiff";
        case FileFormat::jpeg2000: return "jpeg2000";
        case FileFormat::openexr: return "openexr";
        case FileFormat::raw: return "raw";
        case FileFormat::jpeg:
        case FileFormat::png:
        case FileFormat::heif:
        case FileFormat::webp: break;
    }
    return "";
}

// Which channel of a file is which, and how it is stored.
struct Layout {
    int channels = 0;  // that are read, from the first on
    int colours = 0;   // 1, 3 or 4
    int alpha = -1;
    bool associated = false;
    bool cmyk = false;
    bool linear = false;
    TypeDesc::BASETYPE type = TypeDesc::UINT8;
};

Layout layoutOf(const ImageSpec& spec, FileFormat format) {
    Layout layout;
    layout.cmyk = spec.nchannels >= 4 && spec.get_int_attribute("tiff:PhotometricInterpretation", 2) == 5;
    layout.alpha = layout.cmyk ? -1 : spec.alpha_channel;
    const int plain = layout.alpha >= 0 ? layout.alpha : spec.nchannels;
    layout.colours = layout.cmyk ? 4 : plain >= 3 ? 3 : 1;
    if (layout.alpha != layout.colours) layout.alpha = -1;
    layout.channels = layout.colours + (layout.alpha >= 0);
    layout.associated = layout.alpha >= 0 && spec.get_int_attribute("oiio:UnassociatedAlpha") == 0;
    layout.linear = format == FileFormat::openexr;
    const auto stored = static_cast<TypeDesc::BASETYPE>(spec.format.basetype);
    if (stored != TypeDesc::UINT8) layout.type = spec.format.is_floating_point() ? TypeDesc::FLOAT : TypeDesc::UINT16;
    return layout;
}

float encoded(float light) {
    return light <= 0.0031308f ? 12.92f * light : 1.055f * std::pow(light, 1 / 2.4f) - 0.055f;
}

ushort codeOf(float value, bool& beyond) {
    if (value > 1.0005f) beyond = true;
    const float code = value * 65535.0f + 0.5f;
    return static_cast<ushort>(code > 0 ? std::min(code, 65535.0f) : 0.0f);  // NaN is 0
}

// One row to B, G, R, A or C, M, Y, K. Returns whether a value was beyond white.
class RowReader {
public:
    explicit RowReader(const Layout& layout) : m_layout(layout) {}

    bool read(const void* in, ushort* out, int width) const {
        switch (m_layout.type) {
            case TypeDesc::UINT8:
                return rows(static_cast<const uchar*>(in), out, width,
                            [](uchar v, bool&) { return static_cast<ushort>(257 * v); });
            case TypeDesc::UINT16:
                return rows(static_cast<const ushort*>(in), out, width, [](ushort v, bool&) { return v; });
            default: return floats(static_cast<const float*>(in), out, width);
        }
    }

private:
    bool floats(const float* in, ushort* out, int width) const {
        if (!m_layout.linear) return rows(in, out, width, codeOf);
        bool beyond = false;
        const int n = m_layout.channels;
        for (int x = 0; x < width; ++x, in += n, out += 4) {
            const float alpha = m_layout.alpha >= 0 ? in[m_layout.alpha] : 1.0f;
            const float scale = alpha > 0 ? 1 / alpha : 1;  // light without coverage is light added, kept as it is
            for (int c = 0; c < 3; ++c) out[2 - c] = codeOf(encoded(in[m_layout.colours == 1 ? 0 : c] * scale), beyond);
            bool ignored = false;
            out[3] = codeOf(alpha, ignored);
        }
        return beyond;
    }

    template <class Value, class Code>
    bool rows(const Value* in, ushort* out, int width, const Code& code) const {
        bool beyond = false;
        const int n = m_layout.channels;
        if (m_layout.cmyk) {
            for (int x = 0; x < width; ++x, in += n, out += 4)
                for (int c = 0; c < 4; ++c) out[c] = code(in[c], beyond);
            return beyond;
        }
        const int green = m_layout.colours == 1 ? 0 : 1, blue = m_layout.colours == 1 ? 0 : 2;
        for (int x = 0; x < width; ++x, in += n, out += 4) {
            out[0] = code(in[blue], beyond);
            out[1] = code(in[green], beyond);
            out[2] = code(in[0], beyond);
            out[3] = m_layout.alpha >= 0 ? code(in[m_layout.alpha], beyond) : static_cast<ushort>(65535);
            if (m_layout.associated) divide(out);
        }
        return beyond;
    }

    static void divide(ushort* pixel) {
        const unsigned alpha = pixel[3];
        if (alpha == 0 || alpha == 65535) return;
        for (int c = 0; c < 3; ++c)
            pixel[c] = static_cast<ushort>(std::min(65535u, (pixel[c] * 65535u + alpha / 2) / alpha));
    }

    Layout m_layout;
};

[[noreturn]] void refuse(const std::string& path, ImageInput* input) {
    std::string reason = input ? input->geterror() : OIIO::geterror();
    reason.erase(std::find(reason.begin(), reason.end(), '\n'), reason.end());
    throw Error(Error::Kind::input, path + ": " + (reason.empty() ? "cannot be decoded" : reason));
}

std::unique_ptr<ImageInput> create(const std::string& path, FileFormat format) {
    auto input = ImageInput::create(pluginName(format));
    if (!input) {
        OIIO::geterror();
        throw Error(Error::Kind::input, path + ": " + formatName(format) + " files are not read by this OpenImageIO");
    }
    return input;
}

ImageSpec configuration(FileFormat format) {
    ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);
    if (format == FileFormat::tiff) config.attribute("oiio:RawColor", 1);  // leaves CMYK as it is
    if (format == FileFormat::raw) {
        config.attribute("raw:use_camera_wb", 1);
        config.attribute("raw:auto_bright", 0);
        config.attribute("raw:HighlightMode", 0);
        config.attribute("raw:Demosaic", "AHD");
        config.attribute("raw:ColorSpace", "ProPhoto");
    }
    return config;
}

void readScanlines(ImageInput& input, const ImageSpec& spec, const Layout& layout, Decoded& result,
                   const std::string& path, const ReadOptions& options, bool& beyond) {
    constexpr int kBand = 64;
    const RowReader reader(layout);
    const TypeDesc type(layout.type);
    const std::size_t rowBytes = type.size() * layout.channels * spec.width;
    std::vector<unsigned char> band(rowBytes * std::min(kBand, spec.height));
    for (int top = 0; top < spec.height; top += kBand) {
        checkCancelled(options);
        const int rows = std::min(kBand, spec.height - top);
        // Of rows that are missing it may speak only in its message.
        if (!input.read_scanlines(0, 0, spec.y + top, spec.y + top + rows, 0, 0, layout.channels, type, band.data()) ||
            input.has_error())
            refuse(path, &input);
        for (int r = 0; r < rows; ++r)
            beyond |= reader.read(band.data() + r * rowBytes, result.pixels.ptr<ushort>(top + r), spec.width);
    }
}

void readTiles(ImageInput& input, const ImageSpec& spec, const Layout& layout, Decoded& result, const std::string& path,
               const ReadOptions& options, bool& beyond) {
    const RowReader reader(layout);
    const TypeDesc type(layout.type);
    const std::size_t rowBytes = type.size() * layout.channels * spec.width;
    std::vector<unsigned char> band(rowBytes * std::min(spec.tile_height, spec.height));
    for (int top = 0; top < spec.height; top += spec.tile_height) {
        checkCancelled(options);
        const int rows = std::min(spec.tile_height, spec.height - top);
        if (!input.read_tiles(0, 0, spec.x, spec.x + spec.width, spec.y + top, spec.y + top + rows, spec.z, spec.z + 1,
                              0, layout.channels, type, band.data()) ||
            input.has_error())
            refuse(path, &input);
        for (int r = 0; r < rows; ++r)
            beyond |= reader.read(band.data() + r * rowBytes, result.pixels.ptr<ushort>(top + r), spec.width);
    }
}

Profile profileWithoutIcc(const ImageSpec& spec, FileFormat format) {
    if (format == FileFormat::raw) return profileOfRaw();
    const OIIO::ParamValue* primaries = spec.find_attribute("chromaticities", TypeDesc(TypeDesc::FLOAT, 8));
    if (format != FileFormat::openexr || !primaries) return Profile::srgb();
    float xy[8];
    std::memcpy(xy, primaries->data(), sizeof xy);
    return profileOfPrimaries(xy);
}

void noteOtherPictures(ImageInput& input, const FileFacts& facts, Decoded& result) {
    if (facts.format == FileFormat::tiff && input.seek_subimage(1, 0))
        result.notes.push_back("the file has further pages, of which none was read");
    input.geterror();
}

// OpenEXR keeps owner, comments and whatever programs add as texts in its header, which are no metadata that others
// know.
std::string textsOf(const ImageSpec& spec) {
    constexpr const char* kOfTheFormat[] = {"compression", "name", "textureformat", "type", "view", "wrapmodes"};
    std::string names;
    for (const OIIO::ParamValue& value : spec.extra_attribs) {
        const std::string name = value.name().string();
        const bool ofTheFormat =
            std::find(std::begin(kOfTheFormat), std::end(kOfTheFormat), name) != std::end(kOfTheFormat);
        if (value.type() != TypeDesc::STRING || ofTheFormat || name.find(':') != std::string::npos) continue;
        names += (names.empty() ? "" : ", ") + name;
    }
    return names;
}

}  // namespace

Decoded decodeOther(const std::string& path, const FileFacts& facts, const ReadOptions& options) {
    const auto input = create(path, facts.format);
    input->threads(threadCount(options.threads));
    ImageSpec spec;
    if (!input->open(path, spec, configuration(facts.format))) refuse(path, input.get());
    input->geterror();  // what it did not stop for
    checkLimits(path, spec.width, spec.height, facts.bytes, 2, options);
    if (spec.depth > 1) throw Error(Error::Kind::input, path + ": a volume, not a picture");
    // A tile is decoded whole, however little of the picture is in it.
    if (spec.tile_width) checkLimits(path, spec.tile_width, spec.tile_height, facts.bytes, 2, options);

    const Layout layout = layoutOf(spec, facts.format);
    Decoded result;
    result.pixels.create(spec.height, spec.width, CV_16UC4);
    result.hasAlpha = layout.alpha >= 0;
    result.cmyk = layout.cmyk;
    result.grey = layout.colours == 1;
    result.upright = facts.format == FileFormat::raw;
    result.sourceBits = layout.type == TypeDesc::UINT8 ? 8 : layout.type == TypeDesc::UINT16 ? 16 : 32;
    bool beyond = false;
    if (spec.tile_width)
        readTiles(*input, spec, layout, result, path, options, beyond);
    else
        readScanlines(*input, spec, layout, result, path, options, beyond);
    if (beyond) result.notes.push_back("values beyond white were clipped");
    if (spec.nchannels > layout.channels) result.notes.push_back("further channels were left out");

    if (facts.format == FileFormat::openexr)
        if (const std::string texts = textsOf(spec); !texts.empty())
            result.notes.push_back("texts in the file's header were left out: " + texts);

    const OIIO::ParamValue* icc = spec.find_attribute("ICCProfile");
    if (icc && icc->type().basetype == TypeDesc::UINT8 && facts.format != FileFormat::raw) {
        const auto* bytes = static_cast<const unsigned char*>(icc->data());
        result.icc.assign(bytes, bytes + icc->type().size());
    }
    result.profile = profileWithoutIcc(spec, facts.format);
    noteOtherPictures(*input, facts, result);
    return result;
}

}  // namespace kestrova::photo
