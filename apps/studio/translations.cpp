#include "studio/translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>

namespace kestrova::studio {

Translations::Translations(const QLocale& locale, const QString& folder) {
    // Beside the program while it is built, in the share folder once it is installed.
    const QString program = QCoreApplication::applicationDirPath() + '/';
    for (const QString& place : {folder, program + "translations", program + KESTROVA_TRANSLATIONS})
        if (!place.isEmpty() && m_own.load(locale, "kestrova-studio", "_", place)) break;
    if (m_own.isEmpty()) return;
    QCoreApplication::installTranslator(&m_own);
    if (m_qt.load(locale, "qtbase", "_", QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(&m_qt);
}

}  // namespace kestrova::studio
