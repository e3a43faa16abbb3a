#pragma once

#include <QWidget>

class QComboBox;
class QDoubleSpinBox;
class QToolButton;

namespace kestrova::studio {

class CropTool;
class Session;

/// What goes with the crop: ratio and angle.
class CropBar : public QWidget {
    Q_OBJECT

public:
    CropBar(Session* session, CropTool* tool, QWidget* parent = nullptr);

    /// Of the photograph after rotation, for the ratio "original".
    void setPhotographSize(const QSizeF& size);
    QComboBox* ratios() const { return m_ratios; }
    QDoubleSpinBox* angle() const { return m_angle; }

signals:
    void done();

private:
    double ratio() const;
    void applyRatio();
    void refresh();

    Session* m_session;
    CropTool* m_tool;
    QComboBox* m_ratios;
    QToolButton* m_turn;
    QDoubleSpinBox* m_angle;
    QSizeF m_size;
};

}  // namespace kestrova::studio
