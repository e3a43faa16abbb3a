#include "photo/encode_jpeg.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

#include "photo/error.h"

// After all that declares FILE.
#include <jpeglib.h>

namespace kestrova::photo {
namespace {

using Bytes = std::vector<unsigned char>;

Bytes picture(cv::Size size, int channels) {
    std::mt19937 random(11);
    Bytes bytes;
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            for (int c = 0; c < channels; ++c)
                bytes.push_back(static_cast<unsigned char>((3 * x + 2 * y * (c + 1) + random() % 24) % 256));
    return bytes;
}

JpegRows rowsOf(const Bytes& bytes, const JpegRequest& request) {
    const std::size_t row = static_cast<std::size_t>(request.size.width) * request.channels;
    return [&bytes, row](int top, int rows, unsigned char* out) {
        std::memcpy(out, bytes.data() + row * static_cast<std::size_t>(top), row * static_cast<std::size_t>(rows));
    };
}

/// The plain way: one encoder for the whole, with a restart marker after each `interval` MCUs.
Bytes byOneEncoder(const Bytes& bytes, const JpegRequest& request, unsigned interval) {
    jpeg_compress_struct state;
    jpeg_error_mgr errors;
    state.err = jpeg_std_error(&errors);
    jpeg_create_compress(&state);
    unsigned char* out = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&state, &out, &size);
    state.image_width = static_cast<JDIMENSION>(request.size.width);
    state.image_height = static_cast<JDIMENSION>(request.size.height);
    state.input_components = request.channels;
    state.in_color_space = request.channels == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&state);
    jpeg_set_quality(&state, request.quality, TRUE);
    if (request.channels == 3 && request.fullChroma)
        state.comp_info[0].h_samp_factor = state.comp_info[0].v_samp_factor = 1;
    state.restart_interval = interval;
    jpeg_start_compress(&state, TRUE);
    if (!request.icc.empty())
        jpeg_write_icc_profile(&state, request.icc.data(), static_cast<unsigned>(request.icc.size()));
    for (int y = 0; y < request.size.height; ++y) {
        auto* row = const_cast<unsigned char*>(bytes.data()) +
                    static_cast<std::size_t>(y) * request.size.width * static_cast<std::size_t>(request.channels);
        jpeg_write_scanlines(&state, &row, 1);
    }
    jpeg_finish_compress(&state);
    jpeg_destroy_compress(&state);
    const Bytes result(out, out + size);
    std::free(out);
    return result;
}

TEST(Jpeg, OfStripsIsThatOfOneEncoder) {
    for (const int channels : {1, 3})
        for (const bool full : {true, false})
            for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 700), cv::Size(700, 1), cv::Size(97, 256),
                                        cv::Size(97, 257), cv::Size(250, 3000), cv::Size(40001, 300)}) {
                JpegRequest request;
                request.size = size;
                request.channels = channels;
                request.fullChroma = full;
                request.quality = 80;
                request.icc.assign(100'000, 'p');  // more than a segment holds
                const Bytes bytes = picture(size, channels);
                // Strips of 256 rows, or of as many as 65535 MCUs make.
                const int side = channels == 3 && !full ? 16 : 8, across = (size.width + side - 1) / side;
                const int strip = std::min(256 / side, 65535 / across);
                const bool whole = size.height <= strip * side;
                const Bytes expected = byOneEncoder(bytes, request, whole ? 0 : static_cast<unsigned>(across * strip));
                for (const int threads : {1, 2, 4}) {
                    request.threads = threads;
                    EXPECT_TRUE(encodeJpeg(request, rowsOf(bytes, request)) == expected)
                        << size << ", " << channels << " channels, full " << full << ", " << threads << " threads";
                }
            }
}

TEST(Jpeg, EndsWhenCancelled) {
    std::atomic<bool> cancel{false};
    JpegRequest request;
    request.size = {200, 2000};
    request.threads = 2;
    request.cancel = &cancel;
    const Bytes bytes = picture(request.size, 3);
    const JpegRows rows = rowsOf(bytes, request);
    std::atomic<int> calls{0};
    const auto cancelling = [&](int top, int count, unsigned char* out) {
        if (++calls == 3) cancel = true;
        rows(top, count, out);
    };
    try {
        encodeJpeg(request, cancelling);
        ADD_FAILURE() << "not cancelled";
    } catch (const Error& error) {
        EXPECT_EQ(error.kind(), Error::Kind::cancelled);
    }
    EXPECT_LT(calls, 10);
}

}  // namespace
}  // namespace kestrova::photo
