#pragma once

// The decisions of an agent session row, apart from any toolkit. The row has two targets: the
// session's harness app (the left part) and Corvane (a lightning button, the rightmost 20 points).
// A shell's row view asks these functions what to say, what to highlight, what to open, whether
// to pulse and where to draw.

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "MenuModel.h"
#include "NativeMenu.h"
#include "PlatformWords.h"
#include "RowLayout.h"
#include "VectorImage.h"

namespace corvane {

enum class AgentTarget { harness, corvane };

// The worded status drawn at the row's right: the CLI's label, else "Working" for a working
// session, else none.
std::optional<std::string> agentStatusText(const AgentRow& row);

// The title of an agent row's Corvane target wherever it is offered in words.
inline constexpr std::string_view openInCorvaneTitle = "Open in Corvane";

struct AgentTargetDescriptions {
    bool harnessEnabled = false;
    std::string harnessToolTip;
    std::string harnessAccessibilityLabel;
    std::string corvaneToolTip;
    std::string corvaneAccessibilityLabel;
    bool operator==(const AgentTargetDescriptions&) const = default;
};
// Worded with the desktop's `words` ("on this Mac", "Option-Return" on a Mac).
AgentTargetDescriptions describeTargets(const AgentRow& row, const PlatformWords& words);

// The target drawn highlighted: the hovered one (the harness part only when the row has a
// harness action); with nothing hovered and the keyboard highlight on the row, the target Return
// would open; otherwise none.
std::optional<AgentTarget> highlightedTarget(const AgentRow& row, std::optional<AgentTarget> hovered,
                                             bool keyboardHighlighted);

// The colours of the row's texts and of the lightning bolt, for the target drawn highlighted:
// on the harness highlight both texts take the selected text colour, on the Corvane highlight
// the bolt does.
struct AgentRowColours {
    ColourRole title = ColourRole::label;
    ColourRole status = ColourRole::secondaryLabel;
    ColourRole bolt = ColourRole::secondaryLabel;
    bool operator==(const AgentRowColours&) const = default;
};
AgentRowColours agentRowColours(std::optional<AgentTarget> highlighted);

// Return (or a click on the row): with Option, Corvane; otherwise the harness when the row has a
// harness action that differs from its Corvane action, else Corvane.
MenuAction activate(const AgentRow& row, bool optionPressed);

// What choosing a part of the row performs; none for a disabled harness button.
std::optional<MenuAction> chosenAgentAction(const AgentRow& row, const Activation& activation);

// Harness icons, tried in order; the first application that can be found supplies the icon.
struct HarnessIconCandidates {
    std::vector<std::string> bundleIds;  // macOS application identifiers
    std::vector<std::string> iconNames;  // Linux icon-theme names (and .desktop file ids)
    bool operator==(const HarnessIconCandidates&) const = default;
};
inline constexpr std::string_view genericHarnessSymbol = "app.dashed";
HarnessIconCandidates harnessIconCandidates(std::string_view iconWord);
// An icon file that an application's .desktop file names is read only when it is a regular file
// of at most this many bytes, and a raster image is decoded only when neither side is longer
// than `harnessIconSideLimit` pixels: any installed app, or whoever wrote its .desktop file, can
// name a file of gigabytes, a device or a FIFO.
inline constexpr std::size_t harnessIconFileLimit = 512 * 1024;
inline constexpr int harnessIconSideLimit = 1024;
// True when an SVG icon's text is one the app hands its renderer: no entity declaration (entities
// can expand without end; a document type without them is fine), at most 16 <use> references
// (each can draw a group that draws others, multiplying the work) and elements nested at most 32
// deep.
bool isRenderableSvgIcon(std::string_view text);
// The first of `candidates` that `available` accepts, or none (then the generic icon).
std::optional<std::string> firstAvailable(const std::vector<std::string>& candidates,
                                          const std::function<bool(const std::string&)>& available);

// Pulse: an opacity animation of the harness icon under the key "corvane.pulse", 1.0 to 0.25
// over 0.5 s, reversing, repeating without end, ease-in-ease-out (the cubic Bézier curve
// (0.42, 0, 0.58, 1), the curve Core Animation names so; shells that animate by hand use
// `pulseEase`).
struct PulseAnimation {
    static constexpr std::string_view key = "corvane.pulse";
    static constexpr double fromOpacity = 1.0;
    static constexpr double toOpacity = 0.25;
    static constexpr double durationSeconds = 0.5;
};
// The ease-in-ease-out curve at `progress` (0 to 1, clamped): how far the opacity has moved.
double pulseEase(double progress);
bool isWorking(const AgentRow& row);
// Whether the icon pulses now: a working session, in a window, reduce motion off.
bool shouldPulse(const AgentRow& row, bool inWindow, bool reduceMotion);
// Showing a new row restarts the pulse only when the working state changed, so that one working
// session replaced by another keeps pulsing smoothly.
bool pulseNeedsRestart(const AgentRow& before, const AgentRow& after);

// Where things go in a row of width W and height H (points, flipped: origin top-left).
struct AgentRowGeometry {
    static constexpr double cornerRadius = 4;
    static constexpr double textLineHeight = 17;
    static constexpr double titleX = 38;  // the icon sits left of it
    Rect harnessPart;       // (4, 0, W − 24, H)
    Rect corvaneButton;     // (W − 20, 0, 20, H)
    Rect harnessHighlight;  // (4, 0, W − 24, H), radius 4
    Rect corvaneHighlight;  // the Corvane button inset by 2, radius 4
    Rect icon;              // 16 × 16, centred vertically, left of the title
    double textY = 0;       // (H − 17) × 0.5
    std::optional<Rect> status;  // right-aligned against W − 24 at its natural width
    Rect title;             // from x 38 to the text edge (never negative width)
    bool operator==(const AgentRowGeometry&) const = default;
};
AgentRowGeometry agentRowGeometry(double width, double height, std::optional<double> statusTextWidth);
// The same row for a right-to-left language: the Corvane button on the left, the icon on the right.
AgentRowGeometry mirrored(AgentRowGeometry geometry, double width);

}  // namespace corvane
