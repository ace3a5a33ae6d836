#pragma once

// The static rows: header, section label, status and connection rows (not clickable). The same
// drawing serves the dismissible rows, which add a dismiss button beside it.

#include <QRectF>

#include "QtRowWidget.h"

class QPainter;

namespace corvane {

class QtHostedRowWidget : public QtRowWidget {
public:
    explicit QtHostedRowWidget(QtNativeMenuItem& item);

    Kind kind() const override { return Kind::hosted; }
    void sync() override;

    // Draws `row` into `rect` (the row's full height) with `widget`'s palette.
    static void paintRow(QPainter& painter, const QWidget& widget, const HostedRow& row, const QRectF& rect);
    // The width `row` needs without eliding.
    static double naturalWidth(const HostedRow& row);

protected:
    int naturalWidth() const override;
    void paintEvent(QPaintEvent* event) override;

private:
    HostedRow row_;
};

}  // namespace corvane
