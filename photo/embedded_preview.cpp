#include "photo/embedded_preview.h"

#include <algorithm>
#include <cmath>

#include "photo/error.h"
#include "photo/metadata_data.h"

namespace kestrova::photo {

// 160 x 107 of 3:2 is 1/150 beside it; RAW files have some rows and columns more than their previews.
bool sameShape(cv::Size preview, cv::Size picture) {
    constexpr double kMost = 0.015;
    const double way = static_cast<double>(preview.width) * picture.height,
                 other = static_cast<double>(preview.height) * picture.width;
    return std::abs(way / other - 1) <= kMost;
}

EmbeddedPreview findEmbeddedPreview(const std::string& path, const FileFacts& facts, int longEdge) {
    if (facts.format != FileFormat::jpeg && facts.format != FileFormat::raw) return {};
    const QuietExiv2 quiet;
    try {
        const auto image = Exiv2::ImageFactory::open(path);
        image->readMetadata();
        const int width = facts.width ? facts.width : image->pixelWidth();
        const int height = facts.height ? facts.height : image->pixelHeight();
        if (width < 1 || height < 1) return {};
        const Exiv2::PreviewManager manager(*image);
        for (const Exiv2::PreviewProperties& preview : manager.getPreviewProperties()) {  // from small to large
            const auto w = static_cast<int>(preview.width_), h = static_cast<int>(preview.height_);
            if (preview.mimeType_ != "image/jpeg" || std::max(w, h) < longEdge || !sameShape({w, h}, {width, height}))
                continue;
            const Exiv2::PreviewImage found = manager.getPreviewImage(preview);
            return {{found.pData(), found.pData() + found.size()}, std::max(w, h)};
        }
        return {};
    } catch (const Exiv2::AnyError& error) {
        throw Error(Error::Kind::input, path + ": metadata: " + error.what());
    }
}

}  // namespace kestrova::photo
