#include "QtTextMeasure.h"

#include <QFontMetricsF>
#include <QString>
#include <QTextBoundaryFinder>

#include "QtMenuLook.h"

namespace corvane {

double QtTextMeasure::width(std::string_view utf8, FontRole role) const {
    const QFontMetricsF metrics(QtMenuLook::font(role));
    return metrics.horizontalAdvance(QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size())));
}

std::vector<std::string_view> QtTextMeasure::clusters(std::string_view utf8) const {
    // Qt segments UTF-16; each boundary is mapped back to its UTF-8 offset by counting the UTF-8
    // length of the UTF-16 text before it. Bytes that are not valid UTF-8 go the portable way.
    const QString text = QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
    if (text.toUtf8() != QByteArray(utf8.data(), static_cast<qsizetype>(utf8.size()))) return graphemeClusters(utf8);
    std::vector<std::string_view> out;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    std::size_t start = 0;
    qsizetype previous = 0;
    for (qsizetype at = finder.toNextBoundary(); at != -1; at = finder.toNextBoundary()) {
        const auto bytes = static_cast<std::size_t>(QStringView(text).mid(previous, at - previous).toUtf8().size());
        out.push_back(utf8.substr(start, bytes));
        start += bytes;
        previous = at;
    }
    return out;
}

}  // namespace corvane
