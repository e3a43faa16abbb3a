#pragma once

#include <QDialog>
#include <functional>
#include <optional>
#include <vector>

#include "studio/widgets/export_queue.h"
#include "studio/widgets/export_targets.h"

class QCheckBox;
class QComboBox;
class QDialogButtonBox;
class QLabel;
class QLineEdit;
class QSlider;
class QSpinBox;

namespace kestrova::studio {

/// Asks how and where to export photographs. What was chosen last is offered again. Nothing is accepted that would
/// replace an original, or another file without being asked for.
class ExportDialog : public QDialog {
    Q_OBJECT

public:
    /// `originals`: all photographs that are open or in the strip, which no export may replace.
    ExportDialog(const QStringList& photographs, const QStringList& originals, QWidget* parent = nullptr);

    photo::DevelopFileOptions options() const;
    ExportTargets targets() const;
    /// Of the longer side in pixels; 0 for what the settings of each photograph say.
    int size() const;
    /// Why the choice cannot be accepted; empty if it can.
    QString problem() const;

    /// The choice as jobs, with the settings of each photograph.
    std::vector<ExportJob> jobs(const std::function<photo::Settings(const QString& photograph)>& settingsOf) const;

    void accept() override;

private:
    enum ProfileChoice { OfPhotograph, Srgb, DisplayP3, AdobeRgb, FromFile };

    // export_dialog_fields.cpp
    void makeFields();
    void layOut();

    void restore();
    void chooseFolder();
    void chooseProfile();
    void check();
    photo::FileFormat format() const;

    QStringList m_photographs, m_originals;
    std::optional<photo::Profile> m_ownProfile;  // from a file
    int m_profileBefore = 0;
    QComboBox *m_format, *m_bits, *m_profile, *m_metadata;
    QSlider* m_qualitySlider;
    QSpinBox *m_quality, *m_size;
    QCheckBox *m_resize, *m_replace;
    QLineEdit *m_folder, *m_name;
    QLabel* m_problem;
    QDialogButtonBox* m_buttons;
};

}  // namespace kestrova::studio
