#pragma once

// A static row (status or connection) with a dismiss button at its right. The button dismisses;
// a click elsewhere runs the row's repair action when it has one, and does nothing otherwise.

#include "QtRowWidget.h"

namespace corvane {

class QtDismissibleRowWidget final : public QtRowWidget {
public:
    explicit QtDismissibleRowWidget(QtNativeMenuItem& item);

    Kind kind() const override { return Kind::dismissible; }
    void sync() override;
    QRectF dismissButton() const;
    RowLayout layout() const;
    bool dismissHovered() const { return dismissHovered_; }

protected:
    int naturalWidth() const override;
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    DismissibleRowContent content_;
    bool dismissHovered_ = false;
};

}  // namespace corvane
