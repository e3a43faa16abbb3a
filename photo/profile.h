#pragma once

#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "photo/export.h"

namespace kestrova::photo {

/// An ICC colour profile. Copies share one profile; a profile may be used from several threads at once.
class KESTROVA_PHOTO_EXPORT Profile {
public:
    /// sRGB (IEC 61966-2-1): what a file without a profile is taken to be.
    Profile();
    /// From the bytes of an .icc file. Throws `Error` of kind input if they are no profile.
    static Profile fromBytes(const std::vector<unsigned char>& bytes);
    /// From an .icc file. Throws `Error` of kind file or input.
    static Profile fromFile(const std::string& path);
    /// sRGB.
    static Profile srgb();
    /// Display P3: what recent cameras and screens use.
    static Profile displayP3();
    /// Compatible with Adobe RGB (1998), which cameras name without embedding it.
    static Profile adobeRgb();
    /// The space that settings act in, whatever profile a photograph carries: wide enough for every colour of cameras
    /// and of the usual profiles, with sRGB's curve, so that sliders act on tones as they do in an sRGB file.
    static Profile working();

    /// The bytes to embed in a file.
    const std::vector<unsigned char>& bytes() const;
    /// Its description, in English where the profile has one.
    const std::string& name() const;
    /// Channels of the device side: 1 grey, 3 RGB, 4 CMYK.
    int channels() const;
    /// Whether both hold the same bytes, or describe the same space.
    bool operator==(const Profile& other) const;
    /// The opposite.
    bool operator!=(const Profile& other) const { return !(*this == other); }

    struct KESTROVA_PHOTO_HIDDEN Data;
    /// For the layer's own use.
    const Data& data() const { return *m_data; }

private:
    KESTROVA_PHOTO_HIDDEN explicit Profile(std::shared_ptr<const Data> data);
    std::shared_ptr<const Data> m_data;
};

/// Rendering intents of ICC.
enum class Intent { perceptual, relativeColorimetric, saturation, absoluteColorimetric };

/// Converts pixels from one profile to another; made once, used from several threads at once.
class KESTROVA_PHOTO_EXPORT ColourTransform {
public:
    /// Between RGB profiles. Black point compensation is on unless `blackPoint` says otherwise.
    ColourTransform(const Profile& from, const Profile& to, Intent intent = Intent::relativeColorimetric,
                    bool blackPoint = true);

    /// `in`, CV_16UC4 (B, G, R, A), to `out` of the same kind and size, which may be `in`; alpha is copied. Rows are
    /// shared among at most `threads` threads; the result does not depend on their number.
    void apply(const cv::Mat& in, cv::Mat& out, int threads) const;
    /// Likewise to packed 8-bit B, G, R, A: CV_8UC4.
    void applyTo8(const cv::Mat& in, cv::Mat& out, int threads) const;

    struct KESTROVA_PHOTO_HIDDEN Data;

private:
    std::shared_ptr<const Data> m_data;
};

}  // namespace kestrova::photo
