#include "studio/widgets/export_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QSlider>
#include <QSpinBox>

#include "photo/error.h"
#include "studio/widgets/pixels.h"

namespace kestrova::studio {

namespace {

using photo::FileFormat;
using photo::MetadataChoice;

void select(QComboBox* box, const QVariant& choice) {
    if (const int row = box->findData(choice); row >= 0) box->setCurrentIndex(row);
}

}  // namespace

ExportDialog::ExportDialog(const QStringList& photographs, const QStringList& originals, QWidget* parent)
    : QDialog(parent), m_photographs(photographs), m_originals(originals) {
    setWindowTitle(photographs.size() == 1
                       ? tr("Export %1").arg(QFileInfo(photographs[0]).fileName())
                       : tr("Export %n photographs", nullptr, static_cast<int>(photographs.size())));
    makeFields();
    layOut();
    restore();
    for (QComboBox* box : {m_format, m_bits, m_metadata})
        connect(box, &QComboBox::currentIndexChanged, this, &ExportDialog::check);
    connect(m_profile, &QComboBox::activated, this, &ExportDialog::chooseProfile);
    connect(m_qualitySlider, &QSlider::valueChanged, m_quality, &QSpinBox::setValue);
    connect(m_quality, &QSpinBox::valueChanged, m_qualitySlider, &QSlider::setValue);
    connect(m_resize, &QCheckBox::toggled, m_size, &QSpinBox::setEnabled);
    connect(m_replace, &QCheckBox::toggled, this, &ExportDialog::check);
    connect(m_folder, &QLineEdit::textChanged, this, &ExportDialog::check);
    connect(m_name, &QLineEdit::textChanged, this, &ExportDialog::check);
    connect(m_buttons, &QDialogButtonBox::accepted, this, &ExportDialog::accept);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &ExportDialog::reject);
    check();
}

void ExportDialog::restore() {
    const QSettings settings;
    const auto stored = [&](const char* key, const QVariant& otherwise) {
        return settings.value(QString("export/") + key, otherwise);
    };
    const auto number = [&](const char* key, int otherwise) {
        const int value = stored(key, otherwise).toInt();
        return value > 0 ? value : otherwise;  // 0 of what is no number
    };
    select(m_format, stored("format", static_cast<int>(FileFormat::jpeg)).toInt());
    select(m_bits, stored("bits", 0).toInt());
    m_quality->setValue(number("quality", 92));
    m_qualitySlider->setValue(m_quality->value());
    m_resize->setChecked(stored("resize", false).toBool());
    m_size->setValue(number("size", 2048));
    m_size->setEnabled(m_resize->isChecked());
    select(m_profile, stored("profile", OfPhotograph).toInt());
    m_profileBefore = m_profile->currentIndex();
    select(m_metadata, stored("metadata", static_cast<int>(MetadataChoice::all)).toInt());
    const QString beside = m_photographs.isEmpty() ? QDir::homePath() : QFileInfo(m_photographs[0]).absolutePath();
    m_folder->setText(QDir::toNativeSeparators(stored("folder", beside + "/" + tr("exported")).toString()));
    m_name->setText(m_photographs.size() == 1 ? QFileInfo(m_photographs[0]).completeBaseName() : QString("{name}"));
}

void ExportDialog::chooseFolder() {
    const QString folder = QFileDialog::getExistingDirectory(this, tr("Folder to export to"), m_folder->text());
    if (!folder.isEmpty()) m_folder->setText(QDir::toNativeSeparators(folder));
}

void ExportDialog::chooseProfile() {
    const auto back = [this] { m_profile->setCurrentIndex(m_profileBefore); };
    if (m_profile->currentData() == FromFile) {
        const QString path = QFileDialog::getOpenFileName(this, tr("Colour profile"), {}, tr("Profiles (*.icc *.icm)"));
        if (path.isEmpty()) return back();
        try {
            const photo::Profile profile = photo::Profile::fromFile(fileName(path));
            if (profile.channels() != 3)
                throw photo::Error(photo::Error::Kind::input, fileName(path) + ": is no RGB profile");
            m_ownProfile = profile;
        } catch (const photo::Error& error) {
            QMessageBox::warning(this, windowTitle(), withoutMarkup(fileName(std::string(error.what()))));
            return back();
        }
        m_profile->setItemText(m_profile->currentIndex(),
                               tr("%1 (from a file…)").arg(QString::fromStdString(m_ownProfile->name())));
    }
    m_profileBefore = m_profile->currentIndex();
}

FileFormat ExportDialog::format() const { return static_cast<FileFormat>(m_format->currentData().toInt()); }

photo::DevelopFileOptions ExportDialog::options() const {
    photo::DevelopFileOptions options;
    options.format = format();
    if (m_bits->isEnabled()) options.bits = m_bits->currentData().toInt();
    if (m_quality->isEnabled()) options.quality = m_quality->value();
    switch (m_profile->currentData().toInt()) {
        case Srgb: options.profile = photo::Profile::srgb(); break;
        case DisplayP3: options.profile = photo::Profile::displayP3(); break;
        case AdobeRgb: options.profile = photo::Profile::adobeRgb(); break;
        case FromFile: options.profile = m_ownProfile; break;
        default: break;
    }
    options.metadata = static_cast<MetadataChoice>(m_metadata->currentData().toInt());
    return options;
}

ExportTargets ExportDialog::targets() const {
    return {QDir::fromNativeSeparators(m_folder->text()), m_name->text(), format(), m_replace->isChecked()};
}

int ExportDialog::size() const { return m_resize->isChecked() ? m_size->value() : 0; }

QString ExportDialog::problem() const { return targets().problem(m_photographs, m_originals); }

std::vector<ExportJob> ExportDialog::jobs(const std::function<photo::Settings(const QString&)>& settingsOf) const {
    std::vector<ExportJob> jobs;
    const ExportTargets places = targets();
    for (const QString& photograph : m_photographs) {
        jobs.push_back({photograph, places.targetOf(photograph), settingsOf(photograph), options(), places.replace});
        if (size()) jobs.back().settings.size = size();
    }
    return jobs;
}

void ExportDialog::check() {
    const bool lossy = format() == FileFormat::jpeg || format() == FileFormat::webp;
    m_bits->setEnabled(!lossy);
    m_qualitySlider->setEnabled(lossy);
    m_quality->setEnabled(lossy);
    m_problem->setText(problem());
    for (QAbstractButton* button : m_buttons->buttons())
        if (m_buttons->buttonRole(button) == QDialogButtonBox::AcceptRole)
            button->setEnabled(m_problem->text().isEmpty());
}

void ExportDialog::accept() {
    check();  // once more: files come and go
    if (!m_problem->text().isEmpty()) return;
    QSettings settings;
    settings.beginGroup("export");
    settings.setValue("format", m_format->currentData());
    settings.setValue("bits", m_bits->currentData());
    settings.setValue("quality", m_quality->value());
    settings.setValue("resize", m_resize->isChecked());
    settings.setValue("size", m_size->value());
    if (m_profile->currentData() != FromFile) settings.setValue("profile", m_profile->currentData());
    settings.setValue("metadata", m_metadata->currentData());
    settings.setValue("folder", targets().folder);
    QDialog::accept();
}

}  // namespace kestrova::studio
