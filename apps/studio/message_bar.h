#pragma once

#include <QFrame>

class QLabel;
class QToolButton;

namespace kestrova::studio {

/// A message above the photograph that stays until it is closed and stops nobody from working.
class MessageBar : public QFrame {
    Q_OBJECT

public:
    explicit MessageBar(QWidget* parent = nullptr);

    /// `details`, if any, are shown when a person asks for them.
    void say(const QString& text, const QString& details = {});
    QString text() const;
    QString details() const;

private:
    void showDetails(bool shown);

    QLabel *m_label, *m_details;
    QToolButton* m_more;
};

}  // namespace kestrova::studio
