#include "photo/png_writer.h"

#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <new>
#include <string>

#include "photo/error.h"

namespace kestrova::photo {

struct PngWriter::State {
    png_structp png = nullptr;
    png_infop info = nullptr;
    bool begun = false;
    bool noMemory = false;
    std::vector<unsigned char> bytes;
    std::jmp_buf escape;
    char message[200] = {};

    ~State() { png_destroy_write_struct(&png, &info); }

    static void fail(png_structp png, png_const_charp message) {
        auto& state = *static_cast<State*>(png_get_error_ptr(png));
        std::snprintf(state.message, sizeof state.message, "%s", message);
        std::longjmp(state.escape, 1);
    }

    static void append(png_structp png, png_bytep piece, png_size_t size) {
        auto& state = *static_cast<State*>(png_get_io_ptr(png));
        try {
            state.bytes.insert(state.bytes.end(), piece, piece + size);
        } catch (const std::bad_alloc&) {
            state.noMemory = true;
        }
        if (state.noMemory) png_error(png, "no memory");
    }

    // Runs calls of libpng, which leaves them by a jump when it fails: `calls` may own nothing.
    template <class Calls>
    void guarded(const Calls& calls) {
        if (setjmp(escape) == 0) {
            calls();
            return;
        }
        if (noMemory) throw std::bad_alloc();
        throw Error(Error::Kind::input, std::string("PNG: ") + message);
    }
};

PngWriter::PngWriter(int width, int height, int channels, int bits, const std::vector<unsigned char>& icc)
    : m_state(std::make_unique<State>()) {
    State& s = *m_state;
    s.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &s, State::fail, [](png_structp, png_const_charp) {});
    if (s.png) s.info = png_create_info_struct(s.png);
    if (!s.info) throw std::bad_alloc();
    constexpr int kTypes[5] = {0, PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB,
                               PNG_COLOR_TYPE_RGB_ALPHA};
    s.guarded([&] {
        png_set_write_fn(s.png, &s, State::append, nullptr);
        png_set_user_limits(s.png, 0x7fffffff, 0x7fffffff);
        png_set_IHDR(s.png, s.info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), bits,
                     kTypes[channels], PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_set_compression_level(s.png, 5);
        png_set_iCCP(s.png, s.info, "icc", 0, icc.data(), static_cast<png_uint_32>(icc.size()));
    });
}

PngWriter::~PngWriter() = default;

void PngWriter::setResolution(unsigned x, unsigned y) {
    State& s = *m_state;
    s.guarded([&] { png_set_pHYs(s.png, s.info, x, y, PNG_RESOLUTION_METER); });
}

void PngWriter::write(const unsigned char* row) {
    State& s = *m_state;
    s.guarded([&] {
        if (!s.begun) {
            png_write_info(s.png, s.info);
            png_set_swap(s.png);
            s.begun = true;
        }
        png_write_row(s.png, row);
    });
}

std::vector<unsigned char> PngWriter::finish() {
    State& s = *m_state;
    s.guarded([&] { png_write_end(s.png, nullptr); });
    return std::move(s.bytes);
}

}  // namespace kestrova::photo
