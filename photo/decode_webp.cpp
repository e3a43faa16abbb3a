#include <webp/decode.h>
#include <webp/mux.h>

#include <algorithm>
#include <fstream>
#include <memory>

#include "photo/decode.h"
#include "photo/error.h"
#include "photo/rows.h"

namespace kestrova::photo {

namespace {

std::vector<unsigned char> contentOf(const std::string& path, std::uintmax_t size) {
    std::vector<unsigned char> bytes(size);
    std::ifstream file(path, std::ios::binary);
    if (!file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size)))
        throw Error(Error::Kind::file, path + ": cannot be read");
    return bytes;
}

// Fed piece by piece, so that it can be stopped.
void decodeInto(cv::Mat& pixels, const WebPData& data, const std::string& path, const ReadOptions& options) {
    const std::size_t stride = pixels.step;
    const std::unique_ptr<WebPIDecoder, decltype(&WebPIDelete)> decoder(
        WebPINewRGB(MODE_BGRA, pixels.data, stride * pixels.rows, static_cast<int>(stride)), WebPIDelete);
    if (!decoder) throw Error(Error::Kind::memory, path + ": not enough memory to read it");
    constexpr std::size_t kPiece = 1 << 16;
    for (std::size_t done = 0; done < data.size;) {
        checkCancelled(options);
        done = std::min(done + kPiece, data.size);
        const VP8StatusCode status = WebPIUpdate(decoder.get(), data.bytes, done);
        if (status == VP8_STATUS_OK) return;
        if (status == VP8_STATUS_OUT_OF_MEMORY)
            throw Error(Error::Kind::memory, path + ": not enough memory to read it");
        if (status != VP8_STATUS_SUSPENDED) break;
    }
    throw Error(Error::Kind::input, path + ": the WebP data is damaged or cut short");
}

}  // namespace

Decoded decodeWebp(const std::string& path, const FileFacts& facts, const ReadOptions& options) {
    const std::vector<unsigned char> file = contentOf(path, facts.bytes);
    const WebPData data = {file.data(), file.size()};
    const std::unique_ptr<WebPMux, decltype(&WebPMuxDelete)> mux(WebPMuxCreate(&data, 0), WebPMuxDelete);
    WebPMuxFrameInfo picture{};
    if (!mux || WebPMuxGetFrame(mux.get(), 1, &picture) != WEBP_MUX_OK)
        throw Error(Error::Kind::input, path + ": the WebP data is damaged or cut short");
    const std::unique_ptr<WebPData, decltype(&WebPDataClear)> owner(&picture.bitstream, WebPDataClear);

    WebPBitstreamFeatures features;
    if (WebPGetFeatures(picture.bitstream.bytes, picture.bitstream.size, &features) != VP8_STATUS_OK)
        throw Error(Error::Kind::input, path + ": the WebP data is damaged or cut short");
    checkLimits(path, features.width, features.height, facts.bytes, 2, options);

    Decoded result;
    result.hasAlpha = features.has_alpha;
    int pictures = 0;
    if (WebPMuxNumChunks(mux.get(), WEBP_CHUNK_ANMF, &pictures) == WEBP_MUX_OK && pictures > 1)
        result.notes.push_back("the file is an animation, of which the first picture was read");
    WebPData icc;
    if (WebPMuxGetChunk(mux.get(), "ICCP", &icc) == WEBP_MUX_OK) result.icc.assign(icc.bytes, icc.bytes + icc.size);

    cv::Mat packed(features.height, features.width, CV_8UC4);
    decodeInto(packed, picture.bitstream, path, options);
    result.pixels.create(packed.size(), CV_16UC4);
    shareRows(packed.rows, threadCount(options.threads), [&](int r) {
        std::transform(packed.ptr<uchar>(r), packed.ptr<uchar>(r) + 4 * packed.cols, result.pixels.ptr<ushort>(r),
                       [](uchar v) { return static_cast<ushort>(257 * v); });
    });
    return result;
}

}  // namespace kestrova::photo
