#pragma once

// The CLI update block as menu rows. While the update can start, the notice row is a plain
// clickable row with a two-line title; while it cannot (installing, blocked, finished) the row
// shows the update view (title, subtitle, spinner) and is disabled. After a failure a second row,
// "View update log", opens the update's log.

#include <optional>
#include <string>
#include <string_view>

#include "MenuModel.h"
#include "NativeMenu.h"
#include "TextMeasure.h"
#include "VectorImage.h"

namespace corvane {

inline constexpr std::string_view viewUpdateLogTitle = "View update log";
inline constexpr std::string_view updatingCliAccessibilityLabel = "Updating CLI";

// The title, a space and the subtitle when there is a subtitle that is not empty; else the title.
std::string cliUpdateToolTip(const CliUpdate& update);

// Opens the update's log through the action runner.
MenuAction updateLogAction(const CliUpdate& update);

// Shows `update` on a notice row (the row keeps its identity): the plain two-line row when the
// update can start, otherwise the update view with the title fitted in the menu font; the tool
// tip in both cases. `reduceMotion` (the system setting) keeps the view's spinner still. Enabling
// and the handler are the caller's.
void presentCliUpdate(NativeMenuItem& row, const CliUpdate& update, const TextMeasure& measure,
                      bool reduceMotion = false);

// What the update view shows.
struct CliUpdateViewState {
    std::string title;
    bool titlePrimary = false;  // primary label colour once the update is done, else secondary
    std::string subtitle;       // empty when there is none
    bool spinnerVisible = false;  // only while installing
    bool operator==(const CliUpdateViewState&) const = default;
};
CliUpdateViewState cliUpdateViewState(const CliUpdate& update);

// The view starts at this size and grows with the menu's width. Coordinates are flipped
// (origin top-left).
inline constexpr double cliUpdateViewWidth = 320;
inline constexpr double cliUpdateViewHeight = 36;

struct CliUpdateLayout {
    double textWidth = 0;  // W − 30, a further 24 less while the spinner shows
    Rect title;            // (14, 1, textWidth, 18), menu font 13, tail truncation
    Rect subtitle;         // (14, 19, textWidth, 16), system font 11, secondary colour
    Rect spinner;          // (W − 30, 2, 16, 16), small spinning indicator
    bool operator==(const CliUpdateLayout&) const = default;
};
CliUpdateLayout cliUpdateLayout(double width, bool spinnerVisible);

// The spinner turns only while it shows, its view is in a window and reduce motion is off.
bool cliUpdateSpinnerAnimates(bool spinnerVisible, bool inWindow, bool reduceMotion);

}  // namespace corvane
