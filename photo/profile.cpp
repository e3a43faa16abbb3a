#include "photo/profile.h"

#include <algorithm>
#include <cmath>
#include <fstream>

#include "photo/error.h"
#include "photo/profile_data.h"

namespace kestrova::photo {

namespace {

constexpr int kCodes = 65536;
// Profiles on the market need less than 4 MB.
constexpr std::streamoff kLargestFile = 64 << 20;

const double kSrgbCurve[5] = {2.4, 1.0 / 1.055, 0.055 / 1.055, 1.0 / 12.92, 0.04045};

using Curve = std::unique_ptr<cmsToneCurve, decltype(&cmsFreeToneCurve)>;

Curve srgbCurve() { return {cmsBuildParametricToneCurve(nullptr, 4, kSrgbCurve), cmsFreeToneCurve}; }

std::vector<unsigned char> saved(cmsHPROFILE handle) {
    cmsUInt32Number size = 0;
    if (!handle || !cmsSaveProfileToMem(handle, nullptr, &size))
        throw Error(Error::Kind::memory, "no memory for a colour profile");
    std::vector<unsigned char> bytes(size);
    cmsSaveProfileToMem(handle, bytes.data(), &size);
    return bytes;
}

void describe(cmsHPROFILE handle, const char* name) {
    const auto text = [&](cmsTagSignature tag, const char* words) {
        cmsMLU* mlu = cmsMLUalloc(nullptr, 1);
        cmsMLUsetASCII(mlu, "en", "US", words);
        cmsWriteTag(handle, tag, mlu);
        cmsMLUfree(mlu);
    };
    text(cmsSigProfileDescriptionTag, name);
    text(cmsSigCopyrightTag, "No copyright, use freely");
    cmsSetHeaderRenderingIntent(handle, INTENT_RELATIVE_COLORIMETRIC);
}

// The date of making in the header would make the bytes differ from one run to the next.
std::vector<unsigned char> withoutDate(std::vector<unsigned char> bytes) {
    const unsigned char date[12] = {0x07, 0xd0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0};
    std::copy(std::begin(date), std::end(date), bytes.begin() + 24);
    std::fill(bytes.begin() + 84, bytes.begin() + 100, static_cast<unsigned char>(0));
    return bytes;
}

std::vector<unsigned char> rgbProfile(const cmsCIExyY& white, const cmsCIExyYTRIPLE& primaries, cmsToneCurve* curve,
                                      const char* name) {
    cmsToneCurve* curves[3] = {curve, curve, curve};
    const ProfileHandle handle(cmsCreateRGBProfile(&white, &primaries, curves));
    if (!handle) throw Error(Error::Kind::memory, "no memory for a colour profile");
    describe(handle.get(), name);
    return withoutDate(saved(handle.get()));
}

constexpr cmsCIExyY kD65 = {0.3127, 0.3290, 1};
constexpr cmsCIExyY kD50 = {0.345704, 0.358540, 1};
constexpr cmsCIExyYTRIPLE kRommPrimaries = {{0.734699, 0.265301, 1}, {0.159597, 0.840403, 1}, {0.036598, 0.000105, 1}};
constexpr cmsCIExyYTRIPLE kSrgbPrimaries = {{0.64, 0.33, 1}, {0.30, 0.60, 1}, {0.15, 0.06, 1}};

Profile builtIn(const cmsCIExyY& white, const cmsCIExyYTRIPLE& primaries, const char* name) {
    const Curve curve = srgbCurve();
    return Profile::fromBytes(rgbProfile(white, primaries, curve.get(), name));
}

std::string description(cmsHPROFILE handle) {
    const cmsUInt32Number size = cmsGetProfileInfoASCII(handle, cmsInfoDescription, "en", "US", nullptr, 0);
    std::string name(size, '\0');
    if (size) cmsGetProfileInfoASCII(handle, cmsInfoDescription, "en", "US", name.data(), size);
    name.resize(std::min(name.size(), name.find('\0')));
    return name.empty() ? "unnamed profile" : name;
}

// Light at code / 65535. Between the entries of a sampled curve lcms2 rounds to 16 bits of light, which is coarse in
// the shadows, so these are interpolated here.
double light(const cmsToneCurve* curve, int code) {
    const double at = code / double(kCodes - 1);
    if (cmsGetToneCurveParametricType(curve) != 0) return double(cmsEvalToneCurveFloat(curve, static_cast<float>(at)));
    const cmsUInt16Number* entries = cmsGetToneCurveEstimatedTable(curve);
    const int last = static_cast<int>(cmsGetToneCurveEstimatedTableEntries(curve)) - 1;
    const double place = at * last;
    const int left = std::min(static_cast<int>(place), std::max(last - 1, 0));
    const int right = std::min(left + 1, last);
    return (entries[left] + (place - left) * (entries[right] - entries[left])) / 65535.0;
}

// Null unless the curve leads from 0 to 1 without falling: only then does its inverse do what lcms2 does.
std::shared_ptr<const ToneTable> toneTable(const cmsToneCurve* curve) {
    auto table = std::make_shared<ToneTable>(kCodes);
    for (int code = 0; code < kCodes; ++code) (*table)[code] = std::clamp(light(curve, code), 0.0, 1.0);
    const bool whole = table->front() == 0 && table->back() > 0.999;
    return whole && std::is_sorted(table->begin(), table->end()) ? table : nullptr;
}

std::unique_ptr<const MatrixShaper> readShaper(cmsHPROFILE handle) {
    if (cmsGetColorSpace(handle) != cmsSigRgbData || cmsGetPCS(handle) != cmsSigXYZData) return nullptr;
    // A profile with tables besides is used by its tables.
    if (!cmsIsMatrixShaper(handle) || cmsIsTag(handle, cmsSigAToB0Tag) || cmsIsTag(handle, cmsSigDToB0Tag))
        return nullptr;
    auto shaper = std::make_unique<MatrixShaper>();
    const cmsTagSignature curves[3] = {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
    const cmsTagSignature colorants[3] = {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag};
    for (int c = 0; c < 3; ++c) {
        const auto* curve = static_cast<const cmsToneCurve*>(cmsReadTag(handle, curves[c]));
        const auto* colorant = static_cast<const cmsCIEXYZ*>(cmsReadTag(handle, colorants[c]));
        if (!curve || !colorant) return nullptr;
        shaper->curves[c] = toneTable(curve);
        if (!shaper->curves[c]) return nullptr;
        for (int before = 0; before < c; ++before)
            if (*shaper->curves[before] == *shaper->curves[c]) shaper->curves[c] = shaper->curves[before];
        shaper->toXyz[c] = colorant->X;
        shaper->toXyz[3 + c] = colorant->Y;
        shaper->toXyz[6 + c] = colorant->Z;
    }
    return shaper;
}

// Under what a rounding of the numbers in a profile moves: one colorant is stored in steps of 1 / 65536, curves as
// tables of 16 bits or as formulas.
bool sameSpace(const MatrixShaper& a, const MatrixShaper& b) {
    for (int i = 0; i < 9; ++i)
        if (std::abs(a.toXyz[i] - b.toXyz[i]) > 3e-4) return false;
    for (int c = 0; c < 3; ++c)
        for (int code = 0; code < kCodes; code += 257)
            if (std::abs((*a.curves[c])[code] - (*b.curves[c])[code]) > 1e-4) return false;
    return true;
}

}  // namespace

Profile::Data::Data(std::vector<unsigned char> content) : bytes(std::move(content)) {
    const ProfileHandle handle = open();
    if (!handle) throw Error(Error::Kind::input, "not a colour profile");
    switch (cmsGetColorSpace(handle.get())) {
        case cmsSigGrayData: channels = 1; break;
        case cmsSigRgbData: channels = 3; break;
        case cmsSigCmykData: channels = 4; break;
        default: throw Error(Error::Kind::input, "a colour profile for neither grey, RGB nor CMYK");
    }
    name = description(handle.get());
}

ProfileHandle Profile::Data::open() const {
    return ProfileHandle(cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size())));
}

const MatrixShaper* Profile::Data::shaper() const {
    std::call_once(m_once, [this] {
        if (const ProfileHandle handle = open()) m_shaper = readShaper(handle.get());
    });
    return m_shaper.get();
}

Profile::Profile() : Profile(srgb()) {}

Profile::Profile(std::shared_ptr<const Data> data) : m_data(std::move(data)) {}

Profile Profile::fromBytes(const std::vector<unsigned char>& bytes) {
    return Profile(std::make_shared<const Data>(bytes));
}

Profile Profile::fromFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) throw Error(Error::Kind::file, path + ": cannot be opened");
    const std::streamoff size = file.tellg();
    if (size < 0 || size > kLargestFile) throw Error(Error::Kind::input, path + ": not a colour profile");
    std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
    file.seekg(0);
    if (!file.read(reinterpret_cast<char*>(bytes.data()), size))
        throw Error(Error::Kind::file, path + ": cannot be read");
    try {
        return fromBytes(bytes);
    } catch (const Error& error) {
        throw Error(error.kind(), path + ": " + error.what());
    }
}

Profile Profile::srgb() {
    static const Profile profile = builtIn(kD65, kSrgbPrimaries, "sRGB");
    return profile;
}

Profile Profile::displayP3() {
    static const Profile profile =
        builtIn(kD65, {{0.680, 0.320, 1}, {0.265, 0.690, 1}, {0.150, 0.060, 1}}, "Display P3");
    return profile;
}

Profile Profile::adobeRgb() {
    static const Profile profile = [] {
        const Curve gamma(cmsBuildGamma(nullptr, 563.0 / 256), cmsFreeToneCurve);
        return fromBytes(rgbProfile(kD65, {{0.64, 0.33, 1}, {0.21, 0.71, 1}, {0.15, 0.06, 1}}, gamma.get(),
                                    "Compatible with Adobe RGB (1998)"));
    }();
    return profile;
}

Profile profileOfRaw() {
    static const Profile profile = [] {
        // LibRaw's ProPhoto RGB: ROMM's primaries, a power of 1.8 with a straight start of slope 16.
        const double romm[5] = {1.8, 1, 0, 1.0 / 16, 0.03125};
        const Curve curve(cmsBuildParametricToneCurve(nullptr, 4, romm), cmsFreeToneCurve);
        return Profile::fromBytes(rgbProfile(kD50, kRommPrimaries, curve.get(), "ProPhoto RGB of RAW development"));
    }();
    return profile;
}

Profile profileOfPrimaries(const float (&xy)[8]) {
    return builtIn(
        {double(xy[6]), double(xy[7]), 1},
        {{double(xy[0]), double(xy[1]), 1}, {double(xy[2]), double(xy[3]), 1}, {double(xy[4]), double(xy[5]), 1}},
        "RGB with the primaries of an OpenEXR file");
}

// Primaries a little wider than ROMM's hold every colour that cameras and the usual profiles deliver, ROMM's own and
// the red of Display P3 beyond its edge included, so that nothing is clipped on the way in. sRGB's curve instead of
// ROMM's spreads 16 bits evenly for the eye and keeps codes for 8-bit shadows; settings, which are made on encoded
// values, then act on tones as they do in an sRGB file.
Profile Profile::working() {
    static const Profile profile =
        builtIn(kD50, {{0.750, 0.265, 1}, {0.155, 0.850, 1}, {0.036, -0.001, 1}}, "Kestrova working space");
    return profile;
}

const std::vector<unsigned char>& Profile::bytes() const { return m_data->bytes; }

const std::string& Profile::name() const { return m_data->name; }

int Profile::channels() const { return m_data->channels; }

bool Profile::operator==(const Profile& other) const {
    if (m_data == other.m_data || bytes() == other.bytes()) return true;
    const MatrixShaper* a = m_data->shaper();
    const MatrixShaper* b = other.m_data->shaper();
    return a && b && sameSpace(*a, *b);
}

Profile greySrgb() {
    static const Profile profile = [] {
        const Curve curve = srgbCurve();
        const cmsCIExyY white = kD50;
        const ProfileHandle handle(cmsCreateGrayProfile(&white, curve.get()));
        if (!handle) throw Error(Error::Kind::memory, "no memory for a colour profile");
        describe(handle.get(), "Grey with sRGB's curve");
        return Profile::fromBytes(withoutDate(saved(handle.get())));
    }();
    return profile;
}

std::unique_ptr<Profile> rgbLikeGrey(const Profile& grey) {
    const ProfileHandle handle = grey.data().open();
    if (!handle || cmsGetPCS(handle.get()) != cmsSigXYZData) return nullptr;
    auto* curve = static_cast<cmsToneCurve*>(cmsReadTag(handle.get(), cmsSigGrayTRCTag));
    if (!curve) return nullptr;
    return std::make_unique<Profile>(
        Profile::fromBytes(rgbProfile(kD65, kSrgbPrimaries, curve, ("RGB like " + grey.name()).c_str())));
}

}  // namespace kestrova::photo
