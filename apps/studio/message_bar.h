#pragma once

#include <QFrame>

class QLabel;

namespace kestrova::studio {

/// A message above the photograph that stays until it is closed and stops nobody from working.
class MessageBar : public QFrame {
    Q_OBJECT

public:
    explicit MessageBar(QWidget* parent = nullptr);

    void say(const QString& text);
    QString text() const;

private:
    QLabel* m_label;
};

}  // namespace kestrova::studio
