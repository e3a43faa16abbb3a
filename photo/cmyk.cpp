#include <lcms2.h>

#include <memory>
#include <optional>

#include "photo/decode.h"
#include "photo/error.h"
#include "photo/profile_data.h"
#include "photo/rows.h"

namespace kestrova::photo {

namespace {

// Profiles have tables of 9, 17 or 33 steps an ink. Large pictures go through one of 33 to the result, which hits the
// steps of all these and is ten times as fast as the exact way; it has to be made first.
constexpr int kSteps = 33;
constexpr std::size_t kTable = std::size_t(kSteps) * kSteps * kSteps * kSteps;

void convertPlainly(cv::Mat& pixels, int threads) {
    shareRows(pixels.rows, threads, [&](int r) {
        ushort* p = pixels.ptr<ushort>(r);
        for (int x = 0; x < pixels.cols; ++x, p += 4) {
            const unsigned paper = 65535u - p[3];
            const auto light = [&](unsigned ink) {
                return static_cast<ushort>(((65535u - ink) * paper + 32767) / 65535u);
            };
            const ushort red = light(p[0]), green = light(p[1]), blue = light(p[2]);
            p[0] = blue;
            p[1] = green;
            p[2] = red;
            p[3] = 65535;
        }
    });
}

// None, with a note, where the formula has to do.
std::optional<Profile> inkProfile(const std::vector<unsigned char>& icc, std::vector<std::string>& notes) {
    constexpr const char* kPlainly = "converted to sRGB by a plain formula";
    if (icc.empty()) {
        notes.push_back(std::string("CMYK without a profile was ") + kPlainly);
        return std::nullopt;
    }
    try {
        Profile profile = Profile::fromBytes(icc);
        if (profile.channels() == 4) return profile;
        notes.push_back("the file's profile \"" + profile.name() + "\" is not for CMYK, which was " + kPlainly);
    } catch (const Error& error) {
        notes.push_back(std::string("the file's profile is ") + error.what() + "; CMYK was " + kPlainly);
    }
    return std::nullopt;
}

}  // namespace

Profile convertCmyk(cv::Mat& pixels, const std::vector<unsigned char>& icc, std::vector<std::string>& notes,
                    int threads) {
    const std::optional<Profile> source = inkProfile(icc, notes);
    if (!source) {
        convertPlainly(pixels, threads);
        return Profile::srgb();
    }
    const Profile target = Profile::displayP3();
    const ProfileHandle from = source->data().open(), to = target.data().open();
    const cmsUInt32Number flags = cmsFLAGS_NOCACHE | cmsFLAGS_BLACKPOINTCOMPENSATION |
                                  (pixels.total() < kTable ? cmsFLAGS_NOOPTIMIZE : cmsFLAGS_GRIDPOINTS(kSteps));
    const std::unique_ptr<void, decltype(&cmsDeleteTransform)> transform(
        cmsCreateTransform(
            from.get(), TYPE_CMYK_16, to.get(),
            COLORSPACE_SH(PT_RGB) | EXTRA_SH(1) | CHANNELS_SH(3) | BYTES_SH(2) | DOSWAP_SH(1) | SWAPFIRST_SH(1),
            INTENT_RELATIVE_COLORIMETRIC, flags),
        cmsDeleteTransform);
    if (!transform)
        throw Error(Error::Kind::input, "the profile \"" + source->name() + "\" cannot be converted to RGB");
    notes.push_back("CMYK was converted from \"" + source->name() + "\" to " + target.name());
    shareRows(pixels.rows, threads, [&](int r) {
        ushort* row = pixels.ptr<ushort>(r);
        cmsDoTransform(transform.get(), row, row, static_cast<cmsUInt32Number>(pixels.cols));
        for (int x = 0; x < pixels.cols; ++x) row[4 * x + 3] = 65535;
    });
    return target;
}

}  // namespace kestrova::photo
