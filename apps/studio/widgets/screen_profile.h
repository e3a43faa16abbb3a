#pragma once

#include <QImage>
#include <QString>
#include <opencv2/core.hpp>
#include <optional>

#include "photo/profile.h"

namespace kestrova::studio {

/// The colour profile of the screen, and where it comes from. Qt does not report the profile of a screen: a person
/// chooses the .icc file that a calibration has made, or the environment variable KESTROVA_SCREEN_PROFILE names it;
/// without either the screen is taken for an sRGB one.
struct ScreenProfile {
    photo::Profile profile;
    QString origin;   ///< a line for the person at the screen
    QString problem;  ///< why the file that was named is not used; empty if all is well

    /// `chosenFile` is what the program's settings name, empty for nothing. A file that cannot be used is reported in
    /// `problem`, and the next one taken.
    static ScreenProfile find(const QString& chosenFile);
};

/// From the pixels that a photograph is rendered in to those of a screen. Made once, used from several threads at once.
/// Takes its time: not for the widgets' thread.
class ScreenTransform {
public:
    ScreenTransform(const photo::Profile& from, const photo::Profile& screen);

    /// CV_8UC4 or CV_16UC4. Memory is shared where nothing is to be converted.
    QImage apply(const cv::Mat& bgra, int threads) const;

private:
    bool m_same;
    photo::ColourTransform m_transform;
};

}  // namespace kestrova::studio
