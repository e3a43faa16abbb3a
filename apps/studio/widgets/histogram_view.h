#pragma once

#include <QImage>
#include <QPointer>
#include <QThreadPool>
#include <QWidget>

#include "studio/widgets/histogram.h"

namespace kestrova::studio {

/// The histogram of what is seen: red, green and blue over luminance. It is counted in the background, the newest
/// picture wins. The marks in the upper corners light up where pixels are clipped; a click on one asks the window to
/// show those pixels.
class HistogramView : public QWidget {
    Q_OBJECT

public:
    explicit HistogramView(QWidget* parent = nullptr);
    ~HistogramView() override;

    /// Counts an image with 8 bits a channel, whose pixels are shared, not copied. From `brightEnd` on a channel counts
    /// as clipped.
    void setImage(const QImage& image, unsigned brightEnd = 255);
    void setHistogram(const Histogram& histogram);
    void clear();
    const Histogram& histogram() const { return m_histogram; }

    /// Whether clipped pixels are shown; changed by a click, too.
    bool showsDarkClipping() const { return m_darkShown; }
    bool showsBrightClipping() const { return m_brightShown; }
    void setClippingShown(bool dark, bool bright);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    void clippingShownChanged(bool dark, bool bright);
    void counted();  ///< an image given to `setImage` is shown

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    bool event(QEvent* event) override;

private:
    QRectF darkMark() const;
    QRectF brightMark() const;
    void countNext();

    Histogram m_histogram;
    unsigned m_brightEnd = 255;
    QImage m_next;  // waits until the count under way is done
    bool m_counting = false;
    bool m_darkShown = false, m_brightShown = false;
    unsigned m_generation = 0;
    QThreadPool m_pool;
};

}  // namespace kestrova::studio
