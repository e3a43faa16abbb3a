#include "photo/metadata.h"

#include <mutex>

#include "photo/error.h"
#include "photo/metadata_data.h"

namespace kestrova::photo {

namespace {

thread_local int quietDepth = 0;
Exiv2::LogMsg::Handler hostHandler = nullptr;

void handleMessage(int level, const char* text) {
    if (quietDepth == 0 && hostHandler) hostHandler(level, text);
}

void lockXmp(void* mutex, bool lock) {
    auto& m = *static_cast<std::recursive_mutex*>(mutex);
    lock ? m.lock() : m.unlock();
}

void prepareExiv2() {
    static std::recursive_mutex xmpMutex;
    hostHandler = Exiv2::LogMsg::handler();
    Exiv2::LogMsg::setHandler(handleMessage);
    Exiv2::XmpParser::initialize(lockXmp, &xmpMutex);
    Exiv2::enableBMFF(true);  // HEIF, AVIF and CR3
    Exiv2::XmpProperties::registerNs("https://kestrova.invalid/ns/photo/1.0/", "kestrova");
}

template <class Container, class Key>
std::string textOf(const Container& container, const std::string& key) {
    const auto found = container.findKey(Key(key));
    return found == container.end() ? std::string() : found->toString();
}

}  // namespace

QuietExiv2::QuietExiv2() {
    static std::once_flag once;
    ++quietDepth;
    std::call_once(once, prepareExiv2);
}

QuietExiv2::~QuietExiv2() { --quietDepth; }

bool Metadata::Data::saysAdobeRgb() const {
    return textOf<Exiv2::ExifData, Exiv2::ExifKey>(exif, "Exif.Photo.ColorSpace") == "2" ||
           textOf<Exiv2::ExifData, Exiv2::ExifKey>(exif, "Exif.Iop.InteroperabilityIndex") == "R03";
}

std::shared_ptr<const Metadata> readMetadata(const std::string& path, std::vector<unsigned char>& profile) {
    const QuietExiv2 quiet;
    try {
        const auto image = Exiv2::ImageFactory::open(path);
        image->readMetadata();
        if (image->iccProfileDefined()) {
            const Exiv2::DataBuf* icc = image->iccProfile();
            profile.assign(icc->pData_, icc->pData_ + icc->size_);
        }
        if (image->exifData().empty() && image->iptcData().empty() && image->xmpData().empty() &&
            image->comment().empty())
            return nullptr;
        auto data = std::make_shared<Metadata::Data>();
        data->exif = image->exifData();
        data->iptc = image->iptcData();
        data->xmp = image->xmpData();
        data->comment = image->comment();
        return std::make_shared<const Metadata>(data);
    } catch (const Exiv2::AnyError& error) {
        if (error.code() == Exiv2::kerFileContainsUnknownImageType || error.code() == Exiv2::kerUnsupportedImageType)
            return nullptr;
        const bool file = error.code() == Exiv2::kerDataSourceOpenFailed || error.code() == Exiv2::kerFileOpenFailed;
        throw Error(file ? Error::Kind::file : Error::Kind::input, path + ": metadata: " + error.what());
    }
}

Metadata::Metadata(std::shared_ptr<const Data> data) : m_data(std::move(data)) {}

std::shared_ptr<const Metadata> Metadata::fromFile(const std::string& path) {
    examineFile(path);
    std::vector<unsigned char> profile;
    return readMetadata(path, profile);
}

std::vector<std::string> Metadata::keys() const {
    std::vector<std::string> keys;
    for (const auto& datum : m_data->exif) keys.push_back(datum.key());
    for (const auto& datum : m_data->iptc) keys.push_back(datum.key());
    for (const auto& datum : m_data->xmp) keys.push_back(datum.key());
    return keys;
}

std::string Metadata::text(const std::string& key) const {
    const QuietExiv2 quiet;
    try {
        if (key.rfind("Exif.", 0) == 0) return textOf<Exiv2::ExifData, Exiv2::ExifKey>(m_data->exif, key);
        if (key.rfind("Iptc.", 0) == 0) return textOf<Exiv2::IptcData, Exiv2::IptcKey>(m_data->iptc, key);
        return textOf<Exiv2::XmpData, Exiv2::XmpKey>(m_data->xmp, key);
    } catch (const Exiv2::AnyError&) {  // a key that Exiv2 does not know
        return {};
    }
}

int Metadata::orientation() const {
    const std::string value = text("Exif.Image.Orientation");
    return value.size() == 1 && value[0] >= '1' && value[0] <= '8' ? value[0] - '0' : 1;
}

}  // namespace kestrova::photo
