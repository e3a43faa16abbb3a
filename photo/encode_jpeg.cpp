#include "photo/encode_jpeg.h"

#include <csetjmp>
#include <cstdio>
// jpeglib.h uses what cstdio declares.
#include <jerror.h>
#include <jpeglib.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <new>

#include "photo/error.h"
#include "photo/rows.h"

namespace kestrova::photo {

namespace {

/// Rows of a strip: some MCU rows, as many as a restart interval of 16 bits can count.
int stripRows(const JpegRequest& request) {
    constexpr int kRows = 256, kMostMcus = 65535;
    const int side = request.channels == 3 && !request.fullChroma ? 16 : 8;
    const int mcus = (request.size.width + side - 1) / side;
    return side * std::max(1, std::min(kRows / side, kMostMcus / mcus));
}

/// One strip as a JPEG of its own.
class StripEncoder {
public:
    StripEncoder() {
        m_state.err = jpeg_std_error(&m_errors.base);
        m_errors.base.error_exit = [](j_common_ptr state) {
            std::longjmp(reinterpret_cast<Errors*>(state->err)->escape, 1);
        };
        m_errors.base.output_message = [](j_common_ptr) {};
    }
    ~StripEncoder() {
        // Before its end the encoder alone knows where the bytes are.
        if (m_state.dest && !m_finished) m_state.dest->term_destination(&m_state);
        jpeg_destroy_compress(&m_state);
        std::free(m_bytes);
    }
    StripEncoder(const StripEncoder&) = delete;
    StripEncoder& operator=(const StripEncoder&) = delete;

    /// False if memory does not suffice. Cancelled, it leaves `out` as it is.
    bool encode(const JpegRequest& request, const JpegRows& rows, int top, int height,
                std::vector<unsigned char>& out) {
        constexpr int kBand = 16;
        const std::size_t rowBytes = std::size_t(request.size.width) * request.channels;
        std::vector<unsigned char> band(rowBytes * kBand);
        if (!guarded([&] { start(request, top == 0, height); })) return false;
        for (int done = 0; done < height; done += kBand) {
            if (request.cancel && *request.cancel) return true;
            const int count = std::min(kBand, height - done);
            rows(top + done, count, band.data());
            JSAMPROW pointers[kBand];
            for (int r = 0; r < count; ++r) pointers[r] = band.data() + r * rowBytes;
            if (!guarded([&] { jpeg_write_scanlines(&m_state, pointers, static_cast<JDIMENSION>(count)); }))
                return false;
        }
        if (!guarded([&] { jpeg_finish_compress(&m_state); })) return false;
        m_finished = true;
        out.assign(m_bytes, m_bytes + m_size);
        return true;
    }

private:
    struct Errors {
        jpeg_error_mgr base{};
        std::jmp_buf escape;
    };

    // Runs calls of libjpeg, which leaves them by a jump when it fails: `calls` may own nothing.
    template <class Calls>
    bool guarded(const Calls& calls) {
        if (setjmp(m_errors.escape) != 0) return false;
        calls();
        return true;
    }

    void start(const JpegRequest& request, bool first, int height) {
        jpeg_create_compress(&m_state);
        jpeg_mem_dest(&m_state, &m_bytes, &m_size);
        m_state.image_width = static_cast<JDIMENSION>(request.size.width);
        m_state.image_height = static_cast<JDIMENSION>(height);
        m_state.input_components = request.channels;
        m_state.in_color_space = request.channels == 1 ? JCS_GRAYSCALE : JCS_RGB;
        jpeg_set_defaults(&m_state);
        jpeg_set_quality(&m_state, request.quality, TRUE);
        m_state.dct_method = JDCT_ISLOW;
        if (request.channels == 3 && request.fullChroma)
            m_state.comp_info[0].h_samp_factor = m_state.comp_info[0].v_samp_factor = 1;
        if (request.dotsX > 0) {
            m_state.density_unit = request.dotsPerCentimetre ? 2 : 1;
            m_state.X_density = static_cast<UINT16>(std::clamp(std::lround(request.dotsX), 1l, 65535l));
            m_state.Y_density = static_cast<UINT16>(std::clamp(std::lround(request.dotsY), 1l, 65535l));
        }
        jpeg_start_compress(&m_state, TRUE);
        if (first && !request.icc.empty())
            jpeg_write_icc_profile(&m_state, request.icc.data(), static_cast<unsigned>(request.icc.size()));
    }

    Errors m_errors;
    jpeg_compress_struct m_state{};
    unsigned char* m_bytes = nullptr;
    unsigned long m_size = 0;
    bool m_finished = false;
};

/// Where the segments of a JPEG's head are.
struct Head {
    std::size_t frame = 0;  ///< of the frame's segment
    std::size_t scan = 0;   ///< of the scan's segment
    std::size_t data = 0;   ///< behind that
};

Head headOf(const std::vector<unsigned char>& jpeg) {
    Head head;
    for (std::size_t at = 2;;) {
        const unsigned marker = jpeg[at + 1];
        const std::size_t length = jpeg[at + 2] << 8 | jpeg[at + 3];
        if (marker == 0xc0 || marker == 0xc1) head.frame = at;
        if (marker == 0xda) {
            head.scan = at;
            head.data = at + 2 + length;
            return head;
        }
        at += 2 + length;
    }
}

/// The head of the first strip, of the whole's height, and the data of all with restart markers in between.
std::vector<unsigned char> joined(const std::vector<std::vector<unsigned char>>& strips, const JpegRequest& request) {
    const auto high = [](std::size_t v) { return static_cast<unsigned char>(v >> 8); };
    const auto low = [](std::size_t v) { return static_cast<unsigned char>(v & 255); };
    const std::vector<unsigned char>& first = strips[0];
    const Head head = headOf(first);
    std::size_t size = head.data + 8;
    for (const auto& strip : strips) size += strip.size() - headOf(strip).data;
    std::vector<unsigned char> out;
    out.reserve(size);
    out.assign(first.begin(), first.begin() + static_cast<std::ptrdiff_t>(head.scan));
    const auto height = static_cast<std::size_t>(request.size.height);
    out[head.frame + 5] = high(height);
    out[head.frame + 6] = low(height);
    if (strips.size() > 1) {
        const int side = request.channels == 3 && !request.fullChroma ? 16 : 8;
        const auto interval =
            static_cast<std::size_t>((request.size.width + side - 1) / side * (stripRows(request) / side));
        const unsigned char restart[] = {0xff, 0xdd, 0, 4, high(interval), low(interval)};
        out.insert(out.end(), std::begin(restart), std::end(restart));
    }
    out.insert(out.end(), first.begin() + static_cast<std::ptrdiff_t>(head.scan),
               first.begin() + static_cast<std::ptrdiff_t>(head.data));
    for (std::size_t i = 0; i < strips.size(); ++i) {
        const std::vector<unsigned char>& strip = strips[i];
        out.insert(out.end(), strip.begin() + static_cast<std::ptrdiff_t>(headOf(strip).data), strip.end() - 2);
        out.push_back(0xff);
        out.push_back(i + 1 < strips.size() ? static_cast<unsigned char>(0xd0 + i % 8) : 0xd9);
    }
    return out;
}

}  // namespace

std::vector<unsigned char> encodeJpeg(const JpegRequest& request, const JpegRows& rows) {
    const int step = stripRows(request), count = (request.size.height + step - 1) / step;
    std::vector<std::vector<unsigned char>> strips(static_cast<std::size_t>(count));
    std::atomic<bool> failed{false};
    shareRows(count, request.threads, [&](int i) {
        if (failed) return;
        try {
            const int top = i * step;
            if (!StripEncoder().encode(request, rows, top, std::min(step, request.size.height - top), strips[i]))
                failed = true;
        } catch (const std::bad_alloc&) {
            failed = true;
        }
    });
    if (request.cancel && *request.cancel) throw Error(Error::Kind::cancelled, "cancelled");
    if (failed) throw std::bad_alloc();
    return joined(strips, request);
}

}  // namespace kestrova::photo
