#pragma once

#include <QVector>
#include <QWidget>

namespace kestrova::studio {

/// Draws a tone curve: what becomes of each tone from black (left) to white (right).
class CurveView : public QWidget {
    Q_OBJECT

public:
    explicit CurveView(QWidget* parent = nullptr);

    /// The results, 0 to 1, of tones at even distances from 0 to 1; two values at least, empty for the straight line.
    void setCurve(const QVector<float>& results);
    const QVector<float>& curve() const { return m_results; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QVector<float> m_results;
};

}  // namespace kestrova::studio
