#include <libheif/heif.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "photo/decode.h"
#include "photo/embedded_preview.h"
#include "photo/error.h"

namespace kestrova::photo {

namespace {

void check(const heif_error& error, const std::string& path) {
    if (error.code == heif_error_Ok) return;
    const std::string reason = error.message;
    const bool memory = error.code == heif_error_Memory_allocation_error;
    throw Error(memory ? Error::Kind::memory : Error::Kind::input, path + ": " + reason.substr(0, reason.find('\n')));
}

using Context = std::unique_ptr<heif_context, decltype(&heif_context_free)>;
using Handle = std::unique_ptr<heif_image_handle, decltype(&heif_image_handle_release)>;

cv::Size sizeOf(const Handle& handle) {
    return {heif_image_handle_get_width(handle.get()), heif_image_handle_get_height(handle.get())};
}

Context opened(const std::string& path) {
    Context context(heif_context_alloc(), heif_context_free);
    check(heif_context_read_from_file(context.get(), path.c_str(), nullptr), path);
    return context;
}

Handle pictureOf(const Context& context, const std::string& path) {
    heif_image_handle* handle = nullptr;
    check(heif_context_get_primary_image_handle(context.get(), &handle), path);
    return Handle(handle, heif_image_handle_release);
}

/// The smallest thumbnail whose longer side has at least `longEdge` pixels and that has the shape of the picture.
Handle thumbnailOf(const Handle& picture, int longEdge) {
    std::vector<heif_item_id> ids(static_cast<std::size_t>(heif_image_handle_get_number_of_thumbnails(picture.get())));
    heif_image_handle_get_list_of_thumbnail_IDs(picture.get(), ids.data(), static_cast<int>(ids.size()));
    Handle smallest(nullptr, heif_image_handle_release);
    for (const heif_item_id id : ids) {
        heif_image_handle* handle = nullptr;
        if (heif_image_handle_get_thumbnail(picture.get(), id, &handle).code != heif_error_Ok) continue;
        Handle thumbnail(handle, heif_image_handle_release);
        const cv::Size size = sizeOf(thumbnail);
        if (std::max(size.width, size.height) < longEdge || !sameShape(size, sizeOf(picture))) continue;
        if (!smallest || size.width < sizeOf(smallest).width) smallest = std::move(thumbnail);
    }
    return smallest;
}

/// The profile of a picture, be it whole or two numbers for primaries and curve, of which sRGB's and Display P3's are
/// known.
void readProfile(const Handle& handle, const std::string& path, Decoded& result) {
    result.icc.resize(heif_image_handle_get_raw_color_profile_size(handle.get()));
    if (!result.icc.empty()) {
        check(heif_image_handle_get_raw_color_profile(handle.get(), result.icc.data()), path);
        return;
    }
    heif_color_profile_nclx* numbers = nullptr;
    if (heif_image_handle_get_nclx_color_profile(handle.get(), &numbers).code != heif_error_Ok || !numbers) return;
    const int primaries = numbers->color_primaries, curve = numbers->transfer_characteristics;
    heif_nclx_color_profile_free(numbers);
    // sRGB's curve stands behind those of television, too, and behind none.
    const bool curveKnown =
        curve == heif_transfer_characteristic_IEC_61966_2_1 || curve == heif_transfer_characteristic_ITU_R_BT_709_5 ||
        curve == heif_transfer_characteristic_ITU_R_BT_601_6 || curve == heif_transfer_characteristic_unspecified;
    if (curveKnown && primaries == heif_color_primaries_SMPTE_EG_432_1)
        result.profile = Profile::displayP3();
    else if (!curveKnown ||
             (primaries != heif_color_primaries_ITU_R_BT_709_5 && primaries != heif_color_primaries_unspecified))
        result.notes.push_back("the file's colours (primaries " + std::to_string(primaries) + ", curve " +
                               std::to_string(curve) + ") are not known; sRGB was assumed");
}

Decoded decoded(const Handle& handle, const std::string& path, std::uintmax_t fileBytes, const ReadOptions& options) {
    const cv::Size declared = sizeOf(handle);
    checkLimits(path, declared.width, declared.height, fileBytes, 2, options);
    checkCancelled(options);

    Decoded result;
    result.upright = true;  // libheif turns pictures itself
    result.hasAlpha = heif_image_handle_has_alpha_channel(handle.get());
    const bool deep = heif_image_handle_get_luma_bits_per_pixel(handle.get()) > 8;
    result.sourceBits = deep ? 16 : 8;

    heif_image* rawImage = nullptr;
    check(heif_decode_image(handle.get(), &rawImage, heif_colorspace_RGB,
                            deep ? heif_chroma_interleaved_RRGGBBAA_LE : heif_chroma_interleaved_RGBA, nullptr),
          path);
    const std::unique_ptr<heif_image, decltype(&heif_image_release)> image(rawImage, heif_image_release);
    // What was decoded, which damaged files declare otherwise.
    const int width = heif_image_get_width(rawImage, heif_channel_interleaved);
    const int height = heif_image_get_height(rawImage, heif_channel_interleaved);
    checkLimits(path, width, height, fileBytes, 2, options);
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

}  // namespace

Decoded decodeHeif(const std::string& path, const FileFacts& facts, const ReadOptions& options) {
    const Context context = opened(path);
    const Handle picture = pictureOf(context, path);
    Decoded result = decoded(picture, path, facts.bytes, options);
    readProfile(picture, path, result);
    if (heif_context_get_number_of_top_level_images(context.get()) > 1)
        result.notes.push_back("the file has further pictures, of which none was read");
    return result;
}

std::optional<Decoded> decodeHeifThumbnail(const std::string& path, const FileFacts& facts, int longEdge,
                                           const ReadOptions& options) {
    const Context context = opened(path);
    const Handle picture = pictureOf(context, path), thumbnail = thumbnailOf(picture, longEdge);
    if (!thumbnail) return std::nullopt;
    Decoded result = decoded(thumbnail, path, facts.bytes, options);
    readProfile(picture, path, result);
    return result;
}

}  // namespace kestrova::photo
