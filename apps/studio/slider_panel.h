#pragma once

#include <QWidget>
#include <array>
#include <map>
#include <string>

class QVBoxLayout;

namespace kestrova::studio {

class CurveView;
class Session;
class SliderRow;

/// Sliders of some groups of the settings, for the session's target, generated from the one list of them. The group
/// "light" brings its curve along.
class SliderPanel : public QWidget {
    Q_OBJECT

public:
    SliderPanel(Session* session, const QStringList& groups, QWidget* parent = nullptr);

    SliderRow* row(const std::string& slider) const { return m_rows.at(slider); }
    const std::map<std::string, SliderRow*>& rows() const { return m_rows; }
    void finishGestures();

private:
    void addGroup(const QString& group, QVBoxLayout* layout);
    void refresh();

    Session* m_session;
    std::map<std::string, SliderRow*> m_rows;
    CurveView* m_curve = nullptr;
    std::array<float, 6> m_curveOf{};
};

}  // namespace kestrova::studio
