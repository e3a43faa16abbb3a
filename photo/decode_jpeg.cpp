#include <csetjmp>
#include <cstdio>
// jpeglib.h uses what cstdio declares.
#include <jerror.h>
#include <jpeglib.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "photo/decode.h"
#include "photo/error.h"

namespace kestrova::photo {

namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// The warnings that stand for lost pixels; the others are about markers and leave the picture whole.
bool meansLoss(int warning) {
    return warning == JWRN_HUFF_BAD_CODE || warning == JWRN_HIT_MARKER || warning == JWRN_JPEG_EOF ||
           warning == JWRN_MUST_RESYNC;
}

// Each scan of a progressive file passes over the whole picture: a small file may ask for very many.
constexpr int kMostScans = 200;

class JpegDecoder {
public:
    /// From the file, or from `bytes` if they are given.
    JpegDecoder(const std::string& path, const std::vector<unsigned char>* bytes, const ReadOptions& options)
        : m_path(path), m_options(options), m_bytes(bytes) {
        if (!bytes) m_file.reset(std::fopen(path.c_str(), "rbe"));
        if (!bytes && !m_file) throw Error(Error::Kind::file, path + ": " + std::strerror(errno));
        m_state.err = jpeg_std_error(&m_errors.base);
        m_errors.base.error_exit = [](j_common_ptr state) { std::longjmp(errors(state).escape, 1); };
        m_errors.base.emit_message = emit;
        m_errors.base.output_message = [](j_common_ptr) {};
        guarded([this] { jpeg_create_decompress(&m_state); });
        m_progress.base.progress_monitor = watch;
        m_progress.options = &options;
        m_state.progress = &m_progress.base;
    }
    ~JpegDecoder() { jpeg_destroy_decompress(&m_state); }
    JpegDecoder(const JpegDecoder&) = delete;
    JpegDecoder& operator=(const JpegDecoder&) = delete;

    Decoded decode(int reduction, std::uintmax_t fileBytes) {
        guarded([this] {
            if (m_bytes)
                jpeg_mem_src(&m_state, m_bytes->data(), m_bytes->size());
            else
                jpeg_stdio_src(&m_state, m_file.get());
            jpeg_save_markers(&m_state, JPEG_APP0 + 2, 0xffff);
            jpeg_read_header(&m_state, TRUE);
        });
        checkLimits(m_path, m_state.image_width, m_state.image_height, fileBytes, 2, m_options);
        Decoded result;
        readIcc(result);
        chooseOutput(result, reduction);
        guarded([this] { jpeg_start_decompress(&m_state); });
        readRows(result);
        if (m_errors.lost) throw Error(Error::Kind::input, m_path + ": the JPEG data is damaged or cut short");
        noteRest(result, fileBytes);
        return result;
    }

private:
    struct Errors {
        jpeg_error_mgr base{};
        std::jmp_buf escape;
        bool lost = false;
    };
    struct Progress {
        jpeg_progress_mgr base{};
        const ReadOptions* options = nullptr;
        bool cancelled = false;
        bool tooManyScans = false;
    };
    static Errors& errors(j_common_ptr state) { return *reinterpret_cast<Errors*>(state->err); }

    static void emit(j_common_ptr state, int level) {
        if (level >= 0) return;
        if (meansLoss(state->err->msg_code)) errors(state).lost = true;
    }

    static void watch(j_common_ptr state) {
        auto& progress = *reinterpret_cast<Progress*>(state->progress);
        if (progress.options->cancel && *progress.options->cancel) progress.cancelled = true;
        if (reinterpret_cast<j_decompress_ptr>(state)->input_scan_number > kMostScans) progress.tooManyScans = true;
        if (progress.cancelled || progress.tooManyScans) std::longjmp(errors(state).escape, 1);
    }

    // Runs calls of libjpeg, which leaves them by a jump when it fails: `calls` may own nothing.
    template <class Calls>
    void guarded(const Calls& calls) {
        if (setjmp(m_errors.escape) == 0) {
            calls();
            return;
        }
        if (m_progress.cancelled) throw Error(Error::Kind::cancelled, "cancelled");
        if (m_progress.tooManyScans) throw Error(Error::Kind::input, m_path + ": has more scans than a photograph");
        char message[JMSG_LENGTH_MAX];
        m_errors.base.format_message(reinterpret_cast<j_common_ptr>(&m_state), message);
        const bool memory = m_errors.base.msg_code == JERR_OUT_OF_MEMORY;
        throw Error(memory ? Error::Kind::memory : Error::Kind::input, m_path + ": " + message);
    }

    void readIcc(Decoded& result) {
        JOCTET* bytes = nullptr;
        unsigned size = 0;
        guarded([&] { jpeg_read_icc_profile(&m_state, &bytes, &size); });
        const std::unique_ptr<JOCTET, decltype(&std::free)> owner(bytes, std::free);
        if (bytes) result.icc.assign(bytes, bytes + size);
    }

    void chooseOutput(Decoded& result, int reduction) {
        result.cmyk = m_state.jpeg_color_space == JCS_CMYK || m_state.jpeg_color_space == JCS_YCCK;
        result.grey = m_state.jpeg_color_space == JCS_GRAYSCALE;
        m_state.out_color_space = result.cmyk ? JCS_CMYK : result.grey ? JCS_GRAYSCALE : JCS_EXT_BGRA;
        m_state.scale_num = 1;
        m_state.scale_denom = static_cast<unsigned>(reduction);
    }

    void readRows(Decoded& result) {
        const int width = static_cast<int>(m_state.output_width), height = static_cast<int>(m_state.output_height);
        result.pixels.create(height, width, CV_16UC4);
        // Adobe's programs write CMYK inverted.
        const unsigned flip = result.cmyk && m_state.saw_Adobe_marker ? 255 : 0;
        std::vector<JSAMPLE> samples(std::size_t(width) * m_state.output_components);
        JSAMPROW row = samples.data();
        for (int r = 0; r < height; ++r) {
            guarded([&] { jpeg_read_scanlines(&m_state, &row, 1); });
            ushort* out = result.pixels.ptr<ushort>(r);
            if (result.grey) {
                for (int x = 0; x < width; ++x) {
                    out[4 * x] = out[4 * x + 1] = out[4 * x + 2] = static_cast<ushort>(257 * row[x]);
                    out[4 * x + 3] = 65535;
                }
            } else {
                for (int i = 0; i < 4 * width; ++i) out[i] = static_cast<ushort>(257 * (row[i] ^ flip));
            }
        }
        guarded([this] { jpeg_finish_decompress(&m_state); });
    }

    // Phones append films and gain maps, cameras large previews.
    void noteRest(Decoded& result, std::uintmax_t fileBytes) {
        constexpr std::uintmax_t kPadding = 1024;
        if (!m_file) return;
        const auto read = static_cast<std::uintmax_t>(std::ftell(m_file.get())) - m_state.src->bytes_in_buffer;
        if (fileBytes > read + kPadding)
            result.notes.push_back(std::to_string((fileBytes - read) / 1024) +
                                   " KB after the picture, such as a film, a gain map or a preview, were not read");
    }

    const std::string& m_path;
    const ReadOptions& m_options;
    const std::vector<unsigned char>* m_bytes;
    std::unique_ptr<std::FILE, CloseFile> m_file;
    Errors m_errors;
    Progress m_progress;
    jpeg_decompress_struct m_state{};
};

}  // namespace

Decoded decodeJpeg(const std::string& path, int reduction, const ReadOptions& options) {
    const FileFacts facts = examineFile(path);
    return JpegDecoder(path, nullptr, options).decode(reduction, facts.bytes);
}

Decoded decodeJpeg(const std::vector<unsigned char>& bytes, const std::string& path, int reduction,
                   const ReadOptions& options) {
    return JpegDecoder(path, &bytes, options).decode(reduction, bytes.size());
}

}  // namespace kestrova::photo
