#include "CliUpdateRow.h"

#include "CliUpdatePresentation.h"
#include "MenuText.h"

namespace corvane {


std::string cliUpdateToolTip(const CliUpdate& update) {
    const auto subtitle = cliUpdateSubtitle(update);
    std::string tip = cliUpdateTitle(update);
    if (subtitle && !subtitle->empty()) tip += " " + *subtitle;
    return tip;
}

MenuAction updateLogAction(const CliUpdate& update) {
    return MenuAction{std::string(viewUpdateLogTitle), verb::File{update.logPath}, std::nullopt, std::nullopt, true};
}

void presentCliUpdate(NativeMenuItem& row, const CliUpdate& update, const TextMeasure& measure, bool reduceMotion) {
    row.setRole(role::CliUpdateRow{role::CliUpdateRole::notice, update});
    const std::string title = cliUpdateTitle(update);
    if (cliUpdateCanStart(update)) {
        row.setContent(std::nullopt);
        row.setAttributedTitle(statusTitle(title, cliUpdateSubtitle(update), measure));
        // The plain title is what places without attributed text (dbusmenu) show.
        row.setTitle(fittingText(title, FontRole::menu, measure));
    } else {
        row.setAttributedTitle(std::nullopt);
        row.setTitle(fittingText(title, FontRole::menu, measure));
        // Same content kind: a shell updates the view it already hosts.
        row.setContent(CliUpdateViewContent{update, reduceMotion});
    }
    row.setToolTip(cliUpdateToolTip(update));
}

CliUpdateViewState cliUpdateViewState(const CliUpdate& update) {
    return {cliUpdateTitle(update), isDone(update.phase), cliUpdateSubtitle(update).value_or(""),
            update.phase == CliUpdatePhase::installing};
}

CliUpdateLayout cliUpdateLayout(double width, bool spinnerVisible) {
    const double textWidth = width - 30 - (spinnerVisible ? 24 : 0);
    return {textWidth, {14, 1, textWidth, 18}, {14, 19, textWidth, 16}, {width - 30, 2, 16, 16}};
}

bool cliUpdateSpinnerAnimates(bool spinnerVisible, bool inWindow, bool reduceMotion) {
    return spinnerVisible && inWindow && !reduceMotion;
}

}  // namespace corvane
