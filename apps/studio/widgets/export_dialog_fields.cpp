#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSlider>
#include <QSpinBox>
#include <QToolButton>

#include "studio/widgets/export_dialog.h"

namespace kestrova::studio {

namespace {

using photo::FileFormat;
using photo::MetadataChoice;

template <typename Choice>
void addChoice(QComboBox* box, const QString& text, Choice choice) {
    box->addItem(text, static_cast<int>(choice));
}

// Two fields in one row of a form.
QWidget* sideBySide(QWidget* wide, QWidget* narrow) {
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(wide, 1);
    layout->addWidget(narrow);
    row->setFocusProxy(wide);
    return row;
}

}  // namespace

void ExportDialog::makeFields() {
    m_format = new QComboBox;
    for (const FileFormat format : {FileFormat::jpeg, FileFormat::png, FileFormat::tiff, FileFormat::webp})
        addChoice(m_format, photo::formatName(format), format);
    m_bits = new QComboBox;
    addChoice(m_bits, tr("As the photograph"), 0);
    addChoice(m_bits, tr("8 bits a channel"), 8);
    addChoice(m_bits, tr("16 bits a channel"), 16);
    m_qualitySlider = new QSlider(Qt::Horizontal);
    m_qualitySlider->setRange(1, 100);
    m_quality = new QSpinBox;
    m_quality->setRange(1, 100);
    m_quality->setToolTip(tr("From 90 on colour is stored in full; WebP at 100 keeps every pixel"));
    m_qualitySlider->setToolTip(m_quality->toolTip());
    m_resize = new QCheckBox(tr("Longer side at most"));
    m_size = new QSpinBox;
    m_size->setRange(16, 65535);
    m_size->setSuffix(tr(" px"));
    m_size->setToolTip(tr("A photograph with fewer pixels is not enlarged"));
    m_profile = new QComboBox;
    addChoice(m_profile, tr("As the photograph"), OfPhotograph);
    addChoice(m_profile, "sRGB", Srgb);
    addChoice(m_profile, "Display P3", DisplayP3);
    addChoice(m_profile, "Adobe RGB", AdobeRgb);
    addChoice(m_profile, tr("From a file…"), FromFile);
    m_metadata = new QComboBox;
    addChoice(m_metadata, tr("All"), MetadataChoice::all);
    addChoice(m_metadata, tr("Author and copyright alone"), MetadataChoice::copyright);
    addChoice(m_metadata, tr("None"), MetadataChoice::none);
    m_folder = new QLineEdit;
    m_folder->setMinimumWidth(fontMetrics().averageCharWidth() * 44);
    m_name = new QLineEdit;
    m_name->setToolTip(tr("{name} stands for the name of each photograph; the ending is added"));
    m_replace = new QCheckBox(tr("Replace files that are there already"));
    const std::pair<QWidget*, QString> names[] = {
        {m_format, tr("Format")},
        {m_bits, tr("Bits a channel")},
        {m_quality, tr("Quality")},
        {m_qualitySlider, tr("Quality")},
        {m_size, tr("Longer side in pixels")},
        {m_profile, tr("Colour profile")},
        {m_metadata, tr("Metadata")},
        {m_folder, tr("Folder")},
        {m_name, tr("Name")},
    };
    for (const auto& [field, name] : names) field->setAccessibleName(name);
    m_problem = new QLabel;
    m_problem->setTextFormat(Qt::PlainText);  // names of files may look like markup
    m_problem->setWordWrap(true);
    m_problem->setMinimumHeight(2 * fontMetrics().lineSpacing());
    m_problem->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    m_buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    m_buttons->addButton(tr("Export"), QDialogButtonBox::AcceptRole);
}

void ExportDialog::layOut() {
    auto* browse = new QToolButton;
    browse->setText(tr("Choose…"));
    connect(browse, &QToolButton::clicked, this, &ExportDialog::chooseFolder);
    auto* form = new QFormLayout(this);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->addRow(tr("&Format"), sideBySide(m_format, m_bits));
    form->addRow(tr("&Quality"), sideBySide(m_qualitySlider, m_quality));
    form->addRow(tr("&Size"), sideBySide(m_resize, m_size));
    form->addRow(tr("&Colour profile"), m_profile);
    form->addRow(tr("&Metadata"), m_metadata);
    form->addRow(tr("F&older"), sideBySide(m_folder, browse));
    form->addRow(tr("&Name"), m_name);
    form->addRow(QString(), m_replace);
    form->addRow(m_problem);
    form->addRow(m_buttons);
}

}  // namespace kestrova::studio
