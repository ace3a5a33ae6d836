#pragma once

// An agent session row: the harness icon, the session title and its status, with two targets
// (the harness part and the Corvane lightning button at the right). It highlights the target
// under the pointer, or with the menu's keyboard highlight on the row the target Return opens,
// and pulses its icon while the session works (never with animations off; the pulse timer runs
// only while the row is shown and working).

#include <QElapsedTimer>
#include <QIcon>

#include "menu/Colour.h"
#include <optional>

#include "menu/AgentRowLogic.h"
#include "QtRowWidget.h"

namespace corvane {

class QtAgentRowWidget final : public QtRowWidget {
public:
    explicit QtAgentRowWidget(QtNativeMenuItem& item);
    ~QtAgentRowWidget() override;

    Kind kind() const override { return Kind::agent; }
    void sync() override;

    std::optional<AgentTarget> hoveredTarget() const { return hovered_; }
    std::optional<AgentTarget> shownTarget() const;
    // The target under a point of the row, or none left of the harness part.
    std::optional<AgentTarget> targetAt(QPointF position) const;
    bool isPulsing() const { return pulsing_; }
    // How often the pulse began from full opacity; a row that stays working does not restart.
    int pulseStarts() const { return pulseStarts_; }
    double iconOpacity() const;
    // Advances the pulse (the shared pulse timer calls it for every pulsing row).
    void pulseTick();

protected:
    int naturalWidth() const override;
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void syncPulse(bool restart);
    void setHovered(std::optional<AgentTarget> target);
    AgentRowGeometry geometry() const;

    AgentRow shown_;
    bool reduceMotion_ = false;
    bool hasShown_ = false;
    std::optional<AgentTarget> hovered_;
    QIcon icon_;
    Rgb iconInk_;  // the mean colour of the icon's opaque pixels
    std::string iconWord_;
    bool pulsing_ = false;
    int pulseStarts_ = 0;
    QElapsedTimer pulseClock_;
};

}  // namespace corvane
