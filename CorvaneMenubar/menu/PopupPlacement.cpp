#include "PopupPlacement.h"

#include <algorithm>

namespace corvane {
namespace {
// `start` moved as little as possible to put [start, start + length) inside [low, high); a length
// larger than the range starts at `low`.
int keepInside(int start, int length, int low, int high) { return std::max(low, std::min(start, high - length)); }
}  // namespace

ScreenPoint popupPosition(const PopupAnchor& anchor, int popupWidth, int popupHeight, const ScreenRect& screen,
                          const ScreenRect& available) {
    const ScreenRect area = available.empty() ? screen : available;
    const ScreenRect at =
        anchor.icon && !anchor.icon->empty() ? *anchor.icon : ScreenRect{anchor.click.x, anchor.click.y, 1, 1};
    // The icon's panel is the strip outside the available area that holds it; a panel that
    // reserves no space (or a click inside the area) counts as the nearer of the top and bottom.
    const int centreX = at.x + at.width / 2, centreY = at.y + at.height / 2;
    enum class Edge { top, bottom, left, right } edge;
    if (centreY < area.y)
        edge = Edge::top;
    else if (centreY >= area.y + area.height)
        edge = Edge::bottom;
    else if (centreX < area.x)
        edge = Edge::left;
    else if (centreX >= area.x + area.width)
        edge = Edge::right;
    else
        edge = centreY < area.y + area.height / 2 ? Edge::top : Edge::bottom;
    ScreenPoint position{at.x, at.y};
    switch (edge) {
        case Edge::top: position.y = at.y + at.height; break;
        case Edge::bottom: position.y = at.y - popupHeight; break;
        case Edge::left: position.x = at.x + at.width; break;
        case Edge::right: position.x = at.x - popupWidth; break;
    }
    position.x = keepInside(position.x, popupWidth, area.x, area.x + area.width);
    position.y = keepInside(position.y, popupHeight, area.y, area.y + area.height);
    return position;
}

}  // namespace corvane
