#pragma once

// Where the app's popup opens next to its status icon: at the icon when the host says where the
// icon is, at the click otherwise; on the far side of the icon's panel (below a top bar, above a
// bottom panel, beside a side panel); and always inside the screen's available area, so it never
// covers a panel or runs off the screen. A popup larger than the available area keeps its
// top-left corner inside it (the menu is cut at its far edge, never at its header). Integer
// logical pixels, y down, as every toolkit gives them.

#include <optional>

namespace corvane {

struct ScreenPoint {
    int x = 0;
    int y = 0;
    bool operator==(const ScreenPoint&) const = default;
};

struct ScreenRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool empty() const { return width <= 0 || height <= 0; }
    bool operator==(const ScreenRect&) const = default;
};

struct PopupAnchor {
    std::optional<ScreenRect> icon;  // the icon's rectangle, when the host gives it
    ScreenPoint click;               // the pointer at the click (used when the icon is unknown)
    bool operator==(const PopupAnchor&) const = default;
};

// The popup's top-left corner. `screen` is the whole screen the anchor is on, `available` the
// part of it panels leave free (empty when the platform does not say).
ScreenPoint popupPosition(const PopupAnchor& anchor, int popupWidth, int popupHeight, const ScreenRect& screen,
                          const ScreenRect& available);

}  // namespace corvane
