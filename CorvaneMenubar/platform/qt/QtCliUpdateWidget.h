#pragma once

// The CLI update row while the update cannot start (installing, blocked, finished): a title, a
// subtitle and a spinner that shows only while installing and turns only while shown with
// animations on.

#include <QTimer>

#include "menu/CliUpdateRow.h"
#include "QtRowWidget.h"

namespace corvane {

class QtCliUpdateWidget final : public QtRowWidget {
public:
    explicit QtCliUpdateWidget(QtNativeMenuItem& item);

    Kind kind() const override { return Kind::cliUpdate; }
    void sync() override;

    CliUpdateViewState state() const;
    CliUpdateLayout layout() const;
    bool spinnerTurning() const { return timer_.isActive(); }

protected:
    int naturalWidth() const override;
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void syncSpinner();
    bool reduceMotion() const;

    CliUpdate model_;
    bool reduceMotion_ = false;
    QTimer timer_;
    int step_ = 0;
};

}  // namespace corvane
