#include "studio/message_bar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

namespace kestrova::studio {

MessageBar::MessageBar(QWidget* parent) : QFrame(parent), m_label(new QLabel) {
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::ToolTipBase);
    setForegroundRole(QPalette::ToolTipText);
    m_label->setForegroundRole(QPalette::ToolTipText);
    m_label->setTextFormat(Qt::PlainText);  // names of files may look like markup
    m_label->setWordWrap(true);
    m_label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* close = new QToolButton;
    close->setText(tr("Close"));
    close->setAutoRaise(true);
    connect(close, &QToolButton::clicked, this, &QWidget::hide);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 4, 4, 4);
    layout->addWidget(m_label, 1);
    layout->addWidget(close);
    hide();
}

void MessageBar::say(const QString& text) {
    m_label->setText(text);
    setAccessibleDescription(text);
    show();
}

QString MessageBar::text() const { return isHidden() ? QString() : m_label->text(); }

}  // namespace kestrova::studio
