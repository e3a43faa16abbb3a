#include "photo/encode_webp.h"

#include <webp/encode.h>

#include <memory>

#include "photo/error.h"

namespace kestrova::photo {

namespace {

int goesOn(int, const WebPPicture* picture) {
    const auto* cancel = static_cast<const std::atomic<bool>*>(picture->user_data);
    return !(cancel && *cancel);
}

}  // namespace

std::vector<unsigned char> encodeWebp(const cv::Mat& pixels, bool alpha, int quality, int threads,
                                      const std::atomic<bool>* cancel) {
    WebPConfig config;
    WebPPicture picture;
    if (!WebPConfigPreset(&config, WEBP_PRESET_PHOTO, static_cast<float>(quality)) || !WebPPictureInit(&picture))
        throw Error(Error::Kind::programming, "libwebp is of another version than its headers");
    const std::unique_ptr<WebPPicture, decltype(&WebPPictureFree)> owner(&picture, WebPPictureFree);
    config.lossless = quality == 100;
    config.exact = 1;  // colours under full transparency are kept
    config.thread_level = threads > 1;
    picture.use_argb = config.lossless;
    picture.width = pixels.cols;
    picture.height = pixels.rows;
    const auto import = alpha ? WebPPictureImportBGRA : WebPPictureImportBGRX;
    if (!import(&picture, pixels.data, static_cast<int>(pixels.step)))
        throw Error(Error::Kind::memory, "not enough memory to encode WebP");

    WebPMemoryWriter writer;
    WebPMemoryWriterInit(&writer);
    const std::unique_ptr<WebPMemoryWriter, decltype(&WebPMemoryWriterClear)> bytes(&writer, WebPMemoryWriterClear);
    picture.writer = WebPMemoryWrite;
    picture.custom_ptr = &writer;
    picture.progress_hook = goesOn;
    picture.user_data = const_cast<std::atomic<bool>*>(cancel);
    if (!WebPEncode(&config, &picture)) {
        if (picture.error_code == VP8_ENC_ERROR_USER_ABORT) throw Error(Error::Kind::cancelled, "cancelled");
        throw Error(Error::Kind::memory, "not enough memory to encode WebP");
    }
    return {writer.mem, writer.mem + writer.size};
}

}  // namespace kestrova::photo
