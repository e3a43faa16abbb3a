#pragma once

#include <QLocale>
#include <QTranslator>

namespace kestrova::studio {

/// The texts of the window in a person's language, where there is a translation, and in English otherwise.
class Translations {
public:
    /// From `folder`, or where the program has them.
    explicit Translations(const QLocale& locale = QLocale(), const QString& folder = {});

private:
    QTranslator m_own, m_qt;  ///< `m_qt`: the buttons of Qt's dialogs
};

}  // namespace kestrova::studio
