#pragma once

// Rasterises the app's vector pictures (the status icon) with QPainter. Punch-outs erase with
// destination-out; a template image is a mask, tinted here with the colour the panel's text has,
// since no tray protocol tints icons the way the macOS menu bar does.

#include <QColor>
#include <QIcon>
#include <QImage>

#include <vector>

#include "menu/VectorImage.h"

namespace corvane {

// The sizes, in device-independent pixels, a tray host picks from (panels of 16 to 64 pixels).
const std::vector<int>& trayIconSizes();

// `image` drawn into a square of `pixels` device-independent pixels at `devicePixelRatio`
// (the QImage is pixels × ratio wide and carries the ratio). A template image is drawn in `tint`,
// keeping only its alpha; any other image keeps its own colours.
QImage rasterize(const VectorImage& image, int pixels, qreal devicePixelRatio, const QColor& tint);

// Every size of `trayIconSizes` at 1× and 2×, as one icon.
QIcon trayIcon(const VectorImage& image, const QColor& tint);

}  // namespace corvane
