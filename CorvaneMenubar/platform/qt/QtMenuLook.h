#pragma once

// How the Qt shell's custom menu rows look: the fonts behind each font role, the colours of text,
// marks and highlights, and the few drawing steps every row shares, so that custom rows sit beside
// the style's own menu items without a seam (same font, same selection colour, same padding).

#include <QColor>
#include <QFont>
#include <QIcon>
#include <QPalette>

#include "MenuModel.h"
#include "menu/RowLayout.h"
#include "menu/TextMeasure.h"

class QPainter;
class QRectF;
class QWidget;

namespace corvane {

struct QtMenuLook {
    // The menu font for `menu` and `menu13` (the desktop's menu font is the Linux counterpart of
    // the 13-point menu font); the same family at 11/13 of its size for `system11`.
    static QFont font(FontRole role);

    // Colours of a row in `widget`'s palette. Static rows keep the active colours even while
    // their (disabled) action greys plain items.
    static QColor label(const QWidget& widget);
    static QColor secondaryLabel(const QWidget& widget);
    static QColor selectedBackground(const QWidget& widget);
    static QColor selectedText(const QWidget& widget);
    static QColor mark(StatusMark mark);
    static QColor mark(ConnectionMark mark);
    static QColor systemOrange();

    // The style's own highlight of a menu item, drawn over `rect` (the row's full width), so a
    // custom row highlights exactly like the plain rows around it.
    static void drawSelection(QPainter& painter, const QWidget& widget, const QRectF& rect);

    // The paused badge: a white pause sign on an orange disc, 13 × 13 points; the icon theme's
    // "media-playback-pause" is not used because themes draw it in their own colour.
    static QIcon pausedBadgeIcon();

    // A round dismiss button with a cross, in `rect` (square): filled with the selection colour
    // while `active`.
    static void drawDismissButton(QPainter& painter, const QWidget& widget, const QRectF& rect, bool active);

    static QColor colour(ColourRole role, const QWidget& widget);
    // The fonts' measurer, for the portable row layouts.
    static const TextMeasure& measure();
    // `layout` as drawn on a highlighted row: the highlight behind the whole row and every text
    // in the selected text colour.
    static RowLayout highlighted(RowLayout layout, double width);
    // Draws a portable row layout: highlight, mark, texts (tail-truncated to their frames) and the
    // dismiss button (the spinner is the row's own).
    static void paint(QPainter& painter, const QWidget& widget, const RowLayout& layout);
    // The width a layout's texts need on their lines without truncation, laid out at
    // `laidOutWidth` (any wide width).
    static int naturalWidthOf(const RowLayout& layout, double laidOutWidth);

    // The lightning bolt of the Corvane target, filled into `rect` (square) in `colour`.
    static void drawBolt(QPainter& painter, const QRectF& rect, const QColor& colour);
};

}  // namespace corvane
