#include <png.h>

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>

#include "photo/decode.h"
#include "photo/error.h"

namespace kestrova::photo {

namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

class PngDecoder {
public:
    PngDecoder(const std::string& path, const FileFacts& facts, const ReadOptions& options)
        : m_path(path), m_facts(facts), m_options(options), m_file(std::fopen(path.c_str(), "rbe")) {
        if (!m_file) throw Error(Error::Kind::file, path + ": " + std::strerror(errno));
        m_png = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, fail, [](png_structp, png_const_charp) {});
        if (m_png) m_info = png_create_info_struct(m_png);
        if (!m_info) {
            png_destroy_read_struct(&m_png, nullptr, nullptr);
            throw Error(Error::Kind::memory, path + ": not enough memory to read it");
        }
    }
    ~PngDecoder() { png_destroy_read_struct(&m_png, &m_info, nullptr); }
    PngDecoder(const PngDecoder&) = delete;
    PngDecoder& operator=(const PngDecoder&) = delete;

    Decoded decode() {
        guarded([this] {
            png_init_io(m_png, m_file.get());
            png_set_user_limits(m_png, 0x7fffffff, 0x7fffffff);  // the layer has limits of its own
            png_read_info(m_png, m_info);
        });
        const int width = static_cast<int>(png_get_image_width(m_png, m_info));
        const int height = static_cast<int>(png_get_image_height(m_png, m_info));
        checkLimits(m_path, width, height, m_facts.bytes, 2, m_options);
        Decoded result;
        int passes = 1;
        guarded([&] {
            png_set_expand(m_png);
            png_set_swap(m_png);
            passes = png_set_interlace_handling(m_png);
            png_read_update_info(m_png, m_info);
        });
        const int type = png_get_color_type(m_png, m_info);
        result.grey = !(type & PNG_COLOR_MASK_COLOR);
        result.hasAlpha = type & PNG_COLOR_MASK_ALPHA;
        result.sourceBits = png_get_bit_depth(m_png, m_info);
        readIcc(result);
        result.pixels.create(height, width, CV_16UC4);
        if (passes > 1)
            readInterlaced(result, passes);
        else
            readRows(result);
        guarded([this] { png_read_end(m_png, m_info); });
        noteTexts(result);
        return result;
    }

private:
    static void fail(png_structp png, png_const_charp message) {
        auto& decoder = *static_cast<PngDecoder*>(png_get_error_ptr(png));
        std::snprintf(decoder.m_message, sizeof decoder.m_message, "%s", message);
        std::longjmp(decoder.m_escape, 1);
    }

    // Runs calls of libpng, which leaves them by a jump when it fails: `calls` may own nothing.
    template <class Calls>
    void guarded(const Calls& calls) {
        if (setjmp(m_escape) == 0) {
            calls();
            return;
        }
        throw Error(Error::Kind::input, m_path + ": the PNG data is damaged or cut short (" + m_message + ")");
    }

    void readIcc(Decoded& result) {
        png_charp name = nullptr;
        png_bytep bytes = nullptr;
        png_uint_32 size = 0;
        int compression = 0;
        if (png_get_iCCP(m_png, m_info, &name, &compression, &bytes, &size) == PNG_INFO_iCCP)
            result.icc.assign(bytes, bytes + size);
    }

    // Exiv2 reads metadata and the description; what else a file says has no place in other formats.
    void noteTexts(Decoded& result) {
        png_textp texts = nullptr;
        const int count = png_get_text(m_png, m_info, &texts, nullptr);
        std::string names;
        for (int i = 0; i < count; ++i) {
            const std::string name = texts[i].key;
            // With a colon: XMP, and what ImageMagick copies from metadata, a tag without a name among it.
            const bool known = name == "Description" || name == "unknown" ||
                               name.compare(0, 17, "Raw profile type ") == 0 || name.find(':') != std::string::npos;
            if (!known) names += (names.empty() ? "" : ", ") + name;
        }
        if (!names.empty()) result.notes.push_back("texts of the PNG file were left out: " + names);
    }

    void readRows(Decoded& result) {
        std::vector<png_byte> row(png_get_rowbytes(m_png, m_info));
        for (int r = 0; r < result.pixels.rows; ++r) {
            checkCancelled(m_options);
            guarded([&] { png_read_row(m_png, row.data(), nullptr); });
            spread(row.data(), result, result.pixels.ptr<ushort>(r));
        }
    }

    void readInterlaced(Decoded& result, int passes) {
        const std::size_t rowBytes = png_get_rowbytes(m_png, m_info);
        std::vector<png_byte> rows(rowBytes * result.pixels.rows);
        for (int pass = 0; pass < passes; ++pass)
            for (int r = 0; r < result.pixels.rows; ++r) {
                checkCancelled(m_options);
                guarded([&] { png_read_row(m_png, rows.data() + rowBytes * r, nullptr); });
            }
        for (int r = 0; r < result.pixels.rows; ++r)
            spread(rows.data() + rowBytes * r, result, result.pixels.ptr<ushort>(r));
    }

    // A row to B, G, R, A of 16 bits.
    static void spread(const png_byte* row, const Decoded& layout, ushort* out) {
        const int width = layout.pixels.cols, colours = layout.grey ? 1 : 3;
        if (layout.sourceBits == 16)
            spread(reinterpret_cast<const ushort*>(row), 1, width, colours, layout.hasAlpha, out);
        else
            spread(row, 257, width, colours, layout.hasAlpha, out);
    }

    template <class Value>
    static void spread(const Value* in, int scale, int width, int colours, bool alpha, ushort* out) {
        for (int x = 0; x < width; ++x, in += colours + alpha, out += 4) {
            out[0] = static_cast<ushort>(scale * in[colours - 1]);
            out[1] = static_cast<ushort>(scale * in[colours / 2]);
            out[2] = static_cast<ushort>(scale * in[0]);
            out[3] = alpha ? static_cast<ushort>(scale * in[colours]) : static_cast<ushort>(65535);
        }
    }

    const std::string& m_path;
    const FileFacts& m_facts;
    const ReadOptions& m_options;
    std::unique_ptr<std::FILE, CloseFile> m_file;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
    std::jmp_buf m_escape;
    char m_message[200] = {};
};

}  // namespace

Decoded decodePng(const std::string& path, const FileFacts& facts, const ReadOptions& options) {
    return PngDecoder(path, facts, options).decode();
}

}  // namespace kestrova::photo
