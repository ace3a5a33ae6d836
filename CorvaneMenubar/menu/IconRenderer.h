#pragma once

// The status icon: a two-piece bolt, 18 × 18 points, drawn from vector data. An overlay marks the
// attention state (an orange dot) and the paused state (a pause badge); the unknown state is the
// outline alone; non-production variants carry a letter badge at the bottom left.

#include <optional>
#include <string>

#include "VectorImage.h"

#include "AppMenuState.h"

namespace corvane::IconRenderer {

// A new image for `state`. Every state but `attention` is a template image drawn in opaque black
// (the system tints it); `attention` keeps its colours, so only it depends on `darkAppearance`.
// `badgeLetter` is absent for the production variant.
VectorImage image(IconState state, const std::optional<std::string>& badgeLetter, bool darkAppearance);

// The darkness an image for `state` is drawn for: the menu bar's darkness when the image depends
// on it, else false. The attention image is drawn in colour for it; a template image depends on
// it only when the shell tints templates as it is given them. The app redraws the icon when the
// state or this value changes, and only then.
bool drawnDarkness(IconState state, bool menuBarDark, bool shellTintsTemplates);

// The bolt: two closed six-point polygons designed on a 200 × 200 grid, mapped into the image with
// a 1-point margin (x × 0.08 + 1, y × 0.08 + 1). Built once.
const shape::Polygons& boltPolygons();

}  // namespace corvane::IconRenderer

namespace corvane {

// The image as an SVG document, for the headless shell and tests. Each punch-out becomes a mask
// over everything drawn before it; the template flag is kept in a data-template attribute.
std::string toSvg(const VectorImage& image);

}  // namespace corvane
