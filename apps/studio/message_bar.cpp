#include "studio/message_bar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>

namespace kestrova::studio {

MessageBar::MessageBar(QWidget* parent)
    : QFrame(parent), m_label(new QLabel), m_details(new QLabel), m_more(new QToolButton) {
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::ToolTipBase);
    setForegroundRole(QPalette::ToolTipText);
    auto* texts = new QVBoxLayout;
    for (QLabel* label : {m_label, m_details}) {
        label->setForegroundRole(QPalette::ToolTipText);
        label->setTextFormat(Qt::PlainText);  // names of files may look like markup
        label->setWordWrap(true);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        texts->addWidget(label);
    }
    m_more->setAutoRaise(true);
    m_more->setCheckable(true);
    connect(m_more, &QToolButton::toggled, this, &MessageBar::showDetails);
    auto* close = new QToolButton;
    close->setText(tr("Close"));
    close->setAutoRaise(true);
    connect(close, &QToolButton::clicked, this, &QWidget::hide);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 4, 4, 4);
    layout->addLayout(texts, 1);
    layout->addWidget(m_more);
    layout->addWidget(close);
    hide();
}

void MessageBar::say(const QString& text, const QString& details) {
    m_label->setText(text);
    m_details->setText(details);
    m_more->setVisible(!details.isEmpty());
    m_more->setChecked(false);
    showDetails(false);
    setAccessibleDescription(text);
    show();
}

void MessageBar::showDetails(bool shown) {
    m_details->setVisible(shown);
    m_more->setText(shown ? tr("Hide details") : tr("Show details"));
}

QString MessageBar::details() const { return m_details->isHidden() ? QString() : m_details->text(); }

QString MessageBar::text() const { return isHidden() ? QString() : m_label->text(); }

}  // namespace kestrova::studio
