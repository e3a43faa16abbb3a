#include <libheif/heif.h>

#include <algorithm>
#include <memory>

#include "photo/decode.h"
#include "photo/error.h"

namespace kestrova::photo {

namespace {

void check(const heif_error& error, const std::string& path) {
    if (error.code == heif_error_Ok) return;
    const std::string reason = error.message;
    const bool memory = error.code == heif_error_Memory_allocation_error;
    throw Error(memory ? Error::Kind::memory : Error::Kind::input, path + ": " + reason.substr(0, reason.find('\n')));
}

}  // namespace

Decoded decodeHeif(const std::string& path, const FileFacts& facts, const ReadOptions& options) {
    const std::unique_ptr<heif_context, decltype(&heif_context_free)> context(heif_context_alloc(), heif_context_free);
    check(heif_context_read_from_file(context.get(), path.c_str(), nullptr), path);
    heif_image_handle* rawHandle = nullptr;
    check(heif_context_get_primary_image_handle(context.get(), &rawHandle), path);
    const std::unique_ptr<heif_image_handle, decltype(&heif_image_handle_release)> handle(rawHandle,
                                                                                          heif_image_handle_release);
    checkLimits(path, heif_image_handle_get_width(rawHandle), heif_image_handle_get_height(rawHandle), facts.bytes, 2,
                options);
    checkCancelled(options);

    Decoded result;
    result.upright = true;  // libheif turns pictures itself
    result.hasAlpha = heif_image_handle_has_alpha_channel(rawHandle);
    const int depth = heif_image_handle_get_luma_bits_per_pixel(rawHandle);
    const bool deep = depth > 8;
    result.sourceBits = deep ? 16 : 8;
    result.icc.resize(heif_image_handle_get_raw_color_profile_size(rawHandle));
    if (!result.icc.empty()) check(heif_image_handle_get_raw_color_profile(rawHandle, result.icc.data()), path);
    if (heif_context_get_number_of_top_level_images(context.get()) > 1)
        result.notes.push_back("the file has further pictures, of which none was read");

    heif_image* rawImage = nullptr;
    check(heif_decode_image(rawHandle, &rawImage, heif_colorspace_RGB,
                            deep ? heif_chroma_interleaved_RRGGBBAA_LE : heif_chroma_interleaved_RGBA, nullptr),
          path);
    const std::unique_ptr<heif_image, decltype(&heif_image_release)> image(rawImage, heif_image_release);
    // What was decoded, which damaged files declare otherwise.
    const int width = heif_image_get_width(rawImage, heif_channel_interleaved);
    const int height = heif_image_get_height(rawImage, heif_channel_interleaved);
    checkLimits(path, width, height, facts.bytes, 2, options);
    int stride = 0;
    const std::uint8_t* pixels = heif_image_get_plane_readonly(rawImage, heif_channel_interleaved, &stride);
    if (!pixels || stride < width * (deep ? 8 : 4)) throw Error(Error::Kind::input, path + ": cannot be decoded");

    result.pixels.create(height, width, CV_16UC4);
    const int coded = heif_image_get_bits_per_pixel_range(rawImage, heif_channel_interleaved);
    const unsigned most = (1u << (deep && coded > 8 && coded <= 16 ? coded : 16)) - 1;
    for (int r = 0; r < height; ++r) {
        const std::uint8_t* in = pixels + std::size_t(stride) * r;
        ushort* out = result.pixels.ptr<ushort>(r);
        for (int x = 0; x < width; ++x, out += 4)
            for (int c = 0; c < 4; ++c) {
                const int to = c < 3 ? 2 - c : 3;
                const std::uint8_t* value = in + (4 * x + c) * (deep ? 2 : 1);
                const unsigned code = deep ? std::min<unsigned>(most, value[0] | value[1] << 8) : 0;
                out[to] = static_cast<ushort>(deep ? (code * 65535u + most / 2) / most : 257u * value[0]);
                if (c == 3 && !result.hasAlpha) out[3] = 65535;
            }
    }
    return result;
}

}  // namespace kestrova::photo
