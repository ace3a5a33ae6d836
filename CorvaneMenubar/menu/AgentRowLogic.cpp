#include "AgentRowLogic.h"

#include <algorithm>

namespace corvane {
namespace {

bool hasDistinctHarness(const AgentRow& row) { return row.harness && *row.harness != row.corvane; }

}  // namespace

std::optional<std::string> agentStatusText(const AgentRow& row) {
    if (row.statusLabel) return row.statusLabel;
    if (isWorking(row)) return std::string("Working");
    return std::nullopt;
}

AgentTargetDescriptions describeTargets(const AgentRow& row, const PlatformWords& words) {
    const auto status = agentStatusText(row);
    const std::string suffix = status ? ", " + *status : std::string();
    AgentTargetDescriptions out;
    out.harnessEnabled = row.harness.has_value();
    const std::string openInCorvane(openInCorvaneTitle);
    out.harnessToolTip = row.harness ? row.harness->title + ": " + row.corvane.title
                                     : "This session cannot be opened in its harness on " +
                                           std::string(words.thisMachine) +
                                           ". Use the lightning button to open Corvane.";
    out.harnessAccessibilityLabel = out.harnessToolTip + suffix;
    out.corvaneToolTip =
        openInCorvane + (row.harness ? " (" + std::string(words.alternateReturn) + ")" : std::string(" (Return)"));
    out.corvaneAccessibilityLabel = openInCorvane + ": " + row.corvane.title;
    return out;
}

std::optional<AgentTarget> highlightedTarget(const AgentRow& row, std::optional<AgentTarget> hovered,
                                             bool keyboardHighlighted) {
    if (hovered == AgentTarget::corvane) return AgentTarget::corvane;
    if (hovered == AgentTarget::harness)
        return row.harness ? std::optional<AgentTarget>(AgentTarget::harness) : std::nullopt;
    if (keyboardHighlighted) return hasDistinctHarness(row) ? AgentTarget::harness : AgentTarget::corvane;
    return std::nullopt;
}

AgentRowColours agentRowColours(std::optional<AgentTarget> highlighted) {
    AgentRowColours colours;
    if (highlighted == AgentTarget::harness) colours.title = colours.status = ColourRole::selectedMenuItemText;
    if (highlighted == AgentTarget::corvane) colours.bolt = ColourRole::selectedMenuItemText;
    return colours;
}

MenuAction activate(const AgentRow& row, bool optionPressed) {
    if (!optionPressed && hasDistinctHarness(row)) return *row.harness;
    return row.corvane;
}

std::optional<MenuAction> chosenAgentAction(const AgentRow& row, const Activation& activation) {
    switch (activation.part) {
    case RowPart::main: return activate(row, activation.optionPressed);
    case RowPart::harness: return row.harness;
    case RowPart::corvane: return row.corvane;
    case RowPart::dismiss: return std::nullopt;
    }
    return std::nullopt;
}

HarnessIconCandidates harnessIconCandidates(std::string_view word) {
    if (word == "claude") return {{"com.anthropic.claudefordesktop"}, {"claude-desktop", "claude"}};
    if (word == "cursor") return {{"com.todesktop.230313mzl4w4u92"}, {"cursor", "co.anysphere.cursor"}};
    if (word == "chatgpt")
        return {{"com.openai.chat", "com.openai.codex"}, {"chatgpt", "com.openai.chat", "codex", "com.openai.codex"}};
    return {};
}

bool isRenderableSvgIcon(std::string_view text) {
    if (text.find("<!ENTITY") != std::string_view::npos) return false;
    int uses = 0, depth = 0;
    for (std::size_t at = text.find('<'); at != std::string_view::npos; at = text.find('<', at + 1)) {
        const std::size_t end = text.find('>', at);
        if (end == std::string_view::npos) return false;
        const std::string_view tag = text.substr(at, end - at + 1);
        if (tag.starts_with("</")) --depth;
        else if (tag.starts_with("<?") || tag.starts_with("<!")) continue;
        else if (!tag.ends_with("/>")) ++depth;
        if (tag.starts_with("<use") && ++uses > 16) return false;
        if (depth > 32) return false;
    }
    return true;
}

std::optional<std::string> firstAvailable(const std::vector<std::string>& candidates,
                                          const std::function<bool(const std::string&)>& available) {
    for (const auto& candidate : candidates)
        if (available && available(candidate)) return candidate;
    return std::nullopt;
}

double pulseEase(double progress) {
    // x(t) = 3(1-t)²t·0.42 + 3(1-t)t²·0.58 + t³ rises with t: find t by bisection, then
    // y(t) = 3(1-t)t² + t³.
    const double x = std::clamp(progress, 0.0, 1.0);
    double low = 0, high = 1;
    for (int i = 0; i < 40; ++i) {
        const double t = (low + high) / 2;
        const double at = 3 * (1 - t) * (1 - t) * t * 0.42 + 3 * (1 - t) * t * t * 0.58 + t * t * t;
        (at < x ? low : high) = t;
    }
    const double t = (low + high) / 2;
    return 3 * (1 - t) * t * t + t * t * t;
}

bool isWorking(const AgentRow& row) { return row.status == "working"; }

bool shouldPulse(const AgentRow& row, bool inWindow, bool reduceMotion) {
    return inWindow && isWorking(row) && !reduceMotion;
}

bool pulseNeedsRestart(const AgentRow& before, const AgentRow& after) { return isWorking(before) != isWorking(after); }

AgentRowGeometry mirrored(AgentRowGeometry g, double width) {
    auto flip = [width](Rect& r) { r.x = width - r.x - r.width; };
    for (Rect* r : {&g.harnessPart, &g.corvaneButton, &g.harnessHighlight, &g.corvaneHighlight, &g.icon, &g.title})
        flip(*r);
    if (g.status) flip(*g.status);
    return g;
}

AgentRowGeometry agentRowGeometry(double width, double height, std::optional<double> statusTextWidth) {
    AgentRowGeometry g;
    g.harnessPart = {4, 0, width - 24, height};
    g.corvaneButton = {width - 20, 0, 20, height};
    g.harnessHighlight = g.harnessPart;
    g.corvaneHighlight = g.corvaneButton.insetBy(2);
    g.icon = {14, (height - 16) * 0.5, 16, 16};
    g.textY = (height - AgentRowGeometry::textLineHeight) * 0.5;
    double edge = width - 24;
    if (statusTextWidth) {
        g.status = Rect{edge - *statusTextWidth, g.textY, *statusTextWidth, AgentRowGeometry::textLineHeight};
        edge -= *statusTextWidth + 8;
    }
    g.title = {AgentRowGeometry::titleX, g.textY, std::max(edge - AgentRowGeometry::titleX, 0.0),
               AgentRowGeometry::textLineHeight};
    return g;
}

}  // namespace corvane
