#include "photo/webp_chunks.h"

#include <webp/mux.h>

#include <memory>

#include "photo/error.h"

namespace kestrova::photo {

void wrapWebp(std::vector<unsigned char>& encoded, const std::vector<unsigned char>& icc,
              const std::vector<unsigned char>& exif, const std::vector<unsigned char>& xmp) {
    const auto check = [](WebPMuxError result) {
        if (result != WEBP_MUX_OK) throw Error(Error::Kind::memory, "not enough memory to encode WebP");
    };
    const WebPData picture = {encoded.data(), encoded.size()};
    const std::unique_ptr<WebPMux, decltype(&WebPMuxDelete)> mux(WebPMuxCreate(&picture, 0), WebPMuxDelete);
    if (!mux) throw Error(Error::Kind::memory, "not enough memory to encode WebP");
    const auto add = [&](const char* name, const std::vector<unsigned char>& bytes) {
        const WebPData chunk = {bytes.data(), bytes.size()};
        if (!bytes.empty()) check(WebPMuxSetChunk(mux.get(), name, &chunk, 0));
    };
    add("ICCP", icc);
    add("EXIF", exif);
    add("XMP ", xmp);
    WebPData whole;
    WebPDataInit(&whole);
    const WebPMuxError result = WebPMuxAssemble(mux.get(), &whole);
    const std::unique_ptr<WebPData, decltype(&WebPDataClear)> owner(&whole, WebPDataClear);
    check(result);
    encoded.assign(whole.bytes, whole.bytes + whole.size);
}

}  // namespace kestrova::photo
