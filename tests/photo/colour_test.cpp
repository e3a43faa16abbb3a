#include <gtest/gtest.h>
#include <lcms2.h>

#include <cmath>

#include "photo/profile.h"
#include "photo/profile_data.h"
#include "tests/photo/files.h"

namespace kestrova::photo {
namespace {

// lcms2 in float without its resampling, for B, G, R, A of 16 bits.
cv::Mat byLcms(const cv::Mat& in, const Profile& from, const Profile& to) {
    const ProfileHandle source = from.data().open(), target = to.data().open();
    const auto format = FLOAT_SH(1) | COLORSPACE_SH(PT_RGB) | CHANNELS_SH(3) | BYTES_SH(0);
    const cmsHTRANSFORM transform =
        cmsCreateTransform(source.get(), format, target.get(), format, INTENT_RELATIVE_COLORIMETRIC,
                           cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE | cmsFLAGS_BLACKPOINTCOMPENSATION);
    cv::Mat out(in.size(), in.type());
    for (int y = 0; y < in.rows; ++y)
        for (int x = 0; x < in.cols; ++x) {
            const auto& p = in.at<cv::Vec4w>(y, x);
            double rgb[3] = {p[2] / 65535.0, p[1] / 65535.0, p[0] / 65535.0};
            cmsDoTransform(transform, rgb, rgb, 1);
            for (int c = 0; c < 3; ++c)
                out.at<cv::Vec4w>(y, x)[2 - c] =
                    static_cast<ushort>(std::lround(std::min(1.0, std::max(0.0, rgb[c])) * 65535));
            out.at<cv::Vec4w>(y, x)[3] = p[3];
        }
    cmsDeleteTransform(transform);
    return out;
}

std::vector<Profile> matrixProfiles() {
    return {Profile::srgb(), Profile::displayP3(), Profile::adobeRgb(), Profile::working(), profileOfRaw()};
}

TEST(ColourTransform, AgreesWithLcmsInFloatWithinTwoSteps) {
    const cv::Mat in = colourful(150, 90, 16, true).pixels;
    for (const Profile& from : matrixProfiles())
        for (const Profile& to : matrixProfiles()) {
            if (from == to) continue;
            cv::Mat out;
            ColourTransform(from, to).apply(in, out, 2);
            EXPECT_LE(distance(out, byLcms(in, from, to)), 2) << from.name() << " to " << to.name();
        }
}

TEST(ColourTransform, LeavesPixelsOfOneSpaceAlone) {
    const cv::Mat in = colourful(50, 40, 16, true).pixels;
    cv::Mat out;
    ColourTransform(Profile::srgb(), Profile::fromBytes(Profile::srgb().bytes())).apply(in, out, 1);
    EXPECT_TRUE(same(in, out));
}

TEST(ColourTransform, DoesNotDependOnThreadsAndWorksInPlace) {
    const cv::Mat in = colourful(151, 91, 16, true).pixels;
    const ColourTransform transform(Profile::srgb(), Profile::working());
    cv::Mat one, four, place = in.clone();
    transform.apply(in, one, 1);
    transform.apply(in, four, 4);
    transform.apply(place, place, 2);
    EXPECT_TRUE(same(one, four));
    EXPECT_TRUE(same(one, place));
}

TEST(ColourTransform, KeepsGreysGreyAndWhiteWhite) {
    cv::Mat ramp(1, 65536, CV_16UC4), out;
    for (int v = 0; v < 65536; ++v) ramp.at<cv::Vec4w>(0, v) = cv::Vec4w(v, v, v, 65535);
    for (const Profile& from : matrixProfiles())
        for (const Profile& to : matrixProfiles()) {
            ColourTransform(from, to).apply(ramp, out, 1);
            for (int v = 0; v < 65536; ++v) {
                const auto& p = out.at<cv::Vec4w>(0, v);
                ASSERT_LE(std::max({p[0], p[1], p[2]}) - std::min({p[0], p[1], p[2]}), 1) << v;
                ASSERT_GE(p[1], out.at<cv::Vec4w>(0, std::max(0, v - 1))[1]) << "falls at " << v;
            }
            EXPECT_EQ(out.at<cv::Vec4w>(0, 65535), cv::Vec4w(65535, 65535, 65535, 65535));
            EXPECT_EQ(out.at<cv::Vec4w>(0, 0), cv::Vec4w(0, 0, 0, 65535));
        }
}

TEST(ColourTransform, EveryColourOf8BitsComesBackFromTheWorkingSpace) {
    for (const Profile& profile : {Profile::srgb(), Profile::displayP3(), Profile::adobeRgb()}) {
        // A plain power is so steep at black that half a step of 16 bits in a bright channel is more light than the
        // first codes of a dark one are apart: 0.5 * 2.2 / 65535 of light is code 2 of 255.
        const bool steep = profile == Profile::adobeRgb();
        const ColourTransform there(profile, Profile::working()), back(Profile::working(), profile);
        cv::Mat in(256, 256, CV_16UC4), work, out;
        for (int blue = 0; blue < 256; blue += 5) {
            for (int r = 0; r < 256; ++r)
                for (int g = 0; g < 256; ++g) in.at<cv::Vec4w>(r, g) = cv::Vec4w(257 * blue, 257 * g, 257 * r, 65535);
            there.apply(in, work, 2);
            back.applyTo8(work, out, 2);
            for (int r = 0; r < 256; ++r)
                for (int g = 0; g < 256; ++g) {
                    const int codes[3] = {blue, g, r};
                    for (int c = 0; c < 3; ++c) {
                        const int off = std::abs(out.at<cv::Vec4b>(r, g)[c] - codes[c]);
                        ASSERT_LE(off, steep && codes[c] <= 4 ? 2 : 0)
                            << profile.name() << " " << r << ", " << g << ", " << blue;
                    }
                    ASSERT_EQ(out.at<cv::Vec4b>(r, g)[3], 255);
                }
        }
    }
}

TEST(ColourTransform, To8BitsIsThatTo16BitsRounded) {
    cv::Mat ramp(3, 65536, CV_16UC4);
    for (int v = 0; v < 65536; ++v) {
        const auto w = static_cast<ushort>(v);
        ramp.at<cv::Vec4w>(0, v) = cv::Vec4w(w, w, w, w);
        ramp.at<cv::Vec4w>(1, v) = cv::Vec4w(static_cast<ushort>(65535 - v), w, static_cast<ushort>(v / 3), 65535);
        ramp.at<cv::Vec4w>(2, v) = cv::Vec4w(0, static_cast<ushort>(v * 7 % 65536), w, 0);
    }
    for (const Profile& from : matrixProfiles())
        for (const Profile& to : matrixProfiles()) {
            const ColourTransform transform(from, to);
            for (const cv::Mat& in : {ramp, ramp(cv::Rect(17, 0, 1, 3)).clone(), ramp.colRange(1000, 1257).clone()}) {
                cv::Mat deep, bytes;
                transform.apply(in, deep, 1);
                transform.applyTo8(in, bytes, 2);
                for (int y = 0; y < in.rows; ++y)
                    for (int i = 0; i < 4 * in.cols; ++i)
                        ASSERT_EQ(bytes.ptr(y)[i], (deep.ptr<ushort>(y)[i] + 128) / 257)
                            << from.name() << " to " << to.name() << " at " << y << ", " << i;
            }
        }
}

// The patches of the colour checker in sRGB of 8 bits and, from the same tables of the field, in Lab under D50.
TEST(ColourTransform, PatchesKeepTheirLabFromProfileToProfile) {
    const int patches[6][3] = {{115, 82, 68}, {194, 150, 130}, {98, 122, 157},
                               {175, 54, 60}, {70, 148, 73},   {8, 133, 161}};
    const ProfileHandle lab(cmsCreateLab4Profile(nullptr)), srgb = Profile::srgb().data().open();
    const cmsHTRANSFORM seen = cmsCreateTransform(srgb.get(), TYPE_RGB_16, lab.get(), TYPE_Lab_DBL,
                                                  INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE);
    for (const Profile& profile : matrixProfiles()) {
        const ProfileHandle handle = profile.data().open();
        const cmsHTRANSFORM there = cmsCreateTransform(handle.get(), TYPE_RGB_16, lab.get(), TYPE_Lab_DBL,
                                                       INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE);
        for (const auto& patch : patches) {
            cv::Mat in(1, 1, CV_16UC4, cv::Scalar(257 * patch[2], 257 * patch[1], 257 * patch[0], 65535)), out;
            ColourTransform(Profile::srgb(), profile).apply(in, out, 1);
            const auto& a = in.at<cv::Vec4w>(0, 0);
            const auto& b = out.at<cv::Vec4w>(0, 0);
            const cmsUInt16Number before[3] = {a[2], a[1], a[0]}, after[3] = {b[2], b[1], b[0]};
            cmsCIELab labBefore, labAfter;
            cmsDoTransform(seen, before, &labBefore, 1);
            cmsDoTransform(there, after, &labAfter, 1);
            EXPECT_LT(cmsDeltaE(&labBefore, &labAfter), 0.1) << profile.name();
        }
        cmsDeleteTransform(there);
    }
    cmsDeleteTransform(seen);
}

}  // namespace
}  // namespace kestrova::photo
