#include "studio/widgets/screen_profile.h"

#include <QCoreApplication>
#include <QDir>
#include <QStringList>

#include "photo/error.h"
#include "studio/widgets/pixels.h"

namespace kestrova::studio {

namespace {

struct Texts {
    Q_DECLARE_TR_FUNCTIONS(ScreenProfile)
};

photo::Profile rgbProfile(const QString& path) {
    const photo::Profile profile = photo::Profile::fromFile(fileName(path));
    const QString problem = Texts::tr("%1: is no profile of a screen").arg(QDir::toNativeSeparators(path));
    if (profile.channels() != 3) throw photo::Error(photo::Error::Kind::input, problem.toStdString());
    return profile;
}

}  // namespace

ScreenProfile ScreenProfile::find(const QString& chosenFile) {
    const struct {
        QString file, origin;
    } places[] = {{chosenFile, Texts::tr("%1, chosen in the settings")},
                  {qEnvironmentVariable("KESTROVA_SCREEN_PROFILE"), Texts::tr("%1, named by KESTROVA_SCREEN_PROFILE")}};
    ScreenProfile found;
    QStringList problems;
    for (const auto& place : places) {
        if (place.file.isEmpty()) continue;
        try {
            found.profile = rgbProfile(place.file);
            found.origin = place.origin.arg(QString::fromStdString(found.profile.name()));
            break;
        } catch (const photo::Error& error) {
            problems << QString::fromStdString(error.what());
        }
    }
    if (found.origin.isEmpty()) found.origin = Texts::tr("sRGB: no profile of the screen is known");
    found.problem = problems.join('\n');
    return found;
}

ScreenTransform::ScreenTransform(const photo::Profile& from, const photo::Profile& screen)
    : m_same(from == screen), m_transform(from, screen) {}

QImage ScreenTransform::apply(const cv::Mat& bgra, int threads) const {
    const bool deep = bgra.depth() == CV_16U;
    if (m_same && !deep) return toImage(bgra);
    cv::Mat wide = bgra;
    if (!deep) bgra.convertTo(wide, CV_16U, 257);
    cv::Mat converted;
    m_transform.applyTo8(wide, converted, threads);
    return toImage(converted);
}

}  // namespace kestrova::studio
