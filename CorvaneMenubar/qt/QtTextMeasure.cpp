#include "QtTextMeasure.h"

#include <QFontMetricsF>
#include <QString>

#include "QtMenuLook.h"

namespace corvane {

double QtTextMeasure::width(std::string_view utf8, FontRole role) const {
    const QFontMetricsF metrics(QtMenuLook::font(role));
    return metrics.horizontalAdvance(QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size())));
}

}  // namespace corvane
