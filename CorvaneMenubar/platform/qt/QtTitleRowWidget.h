#pragma once

// A clickable row whose title mixes fonts: a status with an action (its title line, detail lines
// under it, and a dismiss button when the status can be dismissed), or a CLI update that can
// start. It stands for a plain menu item: the menu highlights and triggers it like one; only the
// dismiss button is the row's own.

#include "QtRowWidget.h"

namespace corvane {

class QtTitleRowWidget final : public QtRowWidget {
public:
    explicit QtTitleRowWidget(QtNativeMenuItem& item);

    Kind kind() const override { return Kind::title; }
    void sync() override;
    QSize sizeHint() const override;
    // The dismiss button, or an empty rectangle when the row has none.
    QRectF dismissButton() const;
    RowLayout layout() const;

protected:
    int naturalWidth() const override;
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    bool dismissHovered_ = false;
};

}  // namespace corvane
