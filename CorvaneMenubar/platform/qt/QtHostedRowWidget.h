#pragma once

// The static rows: header, section label, status and connection rows (not clickable), drawn from
// their portable layout.

#include "QtRowWidget.h"

namespace corvane {

class QtHostedRowWidget final : public QtRowWidget {
public:
    explicit QtHostedRowWidget(QtNativeMenuItem& item);

    Kind kind() const override { return Kind::hosted; }
    void sync() override;
    RowLayout layout() const;

protected:
    int naturalWidth() const override;
    void paintEvent(QPaintEvent* event) override;

private:
    HostedRow row_;
};

}  // namespace corvane
