#pragma once

#include <QColor>
#include <QWidget>

class QAbstractButton;
class QToolButton;

namespace kestrova::studio {

class BrushTool;
class LayerList;
class Session;
class SliderRow;

/// Layers, their masks, and the brush that paints them.
class LayerPanel : public QWidget {
    Q_OBJECT

public:
    LayerPanel(Session* session, BrushTool* brush, QWidget* parent = nullptr);

    LayerList* list() const { return m_list; }
    QColor maskColour() const { return m_colour; }
    void setMaskColour(const QColor& colour);
    /// By a step of the brackets: above 0 larger.
    void resizeBrush(int steps);
    void setErase(bool erase);

signals:
    void brushWanted();  ///< the brush has been set to something, so it is to be used
    void maskColourChanged(QColor colour);

private:
    QWidget* makeButtons();
    QWidget* makeBrush();
    void setBrush();
    void refresh();

    Session* m_session;
    BrushTool* m_brush;
    LayerList* m_list;
    SliderRow *m_size, *m_hardness, *m_opacity, *m_tolerance;
    QToolButton *m_add, *m_duplicate, *m_remove, *m_up, *m_down, *m_fill, *m_clear, *m_invert, *m_colourButton;
    QToolButton *m_paint, *m_erase;
    QColor m_colour = QColor(255, 40, 40);
};

}  // namespace kestrova::studio
