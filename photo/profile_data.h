#pragma once

#include <lcms2.h>

#include <array>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "photo/profile.h"

namespace kestrova::photo {

struct CloseProfile {
    void operator()(void* handle) const { cmsCloseProfile(handle); }
};
using ProfileHandle = std::unique_ptr<void, CloseProfile>;

/// A tone curve as light for each of the 65536 codes of a channel, 0..1 and nowhere falling.
using ToneTable = std::vector<double>;

/// An RGB profile of three curves and a matrix.
struct MatrixShaper {
    std::array<std::shared_ptr<const ToneTable>, 3> curves;  ///< of R, G, B; one table where the curves are the same
    std::array<double, 9> toXyz;                             ///< light to XYZ under D50, row by row
};

struct Profile::Data {
    explicit Data(std::vector<unsigned char> content);

    std::vector<unsigned char> bytes;
    std::string name;
    int channels = 0;
    /// Opens the profile anew: a handle of lcms2 belongs to one thread at a time.
    ProfileHandle open() const;
    /// Curves and matrix, or null where the profile has tables instead or curves that cannot be inverted.
    const MatrixShaper* shaper() const;

private:
    mutable std::once_flag m_once;
    mutable std::unique_ptr<const MatrixShaper> m_shaper;
};

/// The profile of an RGB space with the tone curve of a grey profile, so that grey values v stand for v, v, v; null if
/// that profile has no curve.
std::unique_ptr<Profile> rgbLikeGrey(const Profile& grey);

/// For grey pictures whose `rgbLikeGrey` is sRGB.
Profile greySrgb();

/// What RAW files are developed into.
Profile profileOfRaw();

/// An RGB space with sRGB's tone curve: x and y of red, green, blue and white. Throws `Error` if they span no space.
Profile profileOfPrimaries(const float (&xy)[8]);

}  // namespace kestrova::photo
