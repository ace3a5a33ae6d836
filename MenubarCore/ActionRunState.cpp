#include "ActionRunState.h"

#include <optional>
#include <utility>

namespace corvane {

namespace {

MenuAction plainAction(std::string title, MenuVerb verb) {
    return MenuAction{std::move(title), std::move(verb), std::nullopt, std::nullopt, true};
}

// The CLI arguments a failed run can continue with in a terminal, when it has any.
std::optional<Arguments> terminalArguments(const MenuVerb& verb) {
    if (const auto* background = std::get_if<verb::Background>(&verb)) return background->fallback;
    if (const auto* run = std::get_if<verb::Run>(&verb)) return run->arguments;
    return std::nullopt;
}

void disableCliStarter(std::optional<MenuAction>& action) {
    if (action && startsCliCommand(action->verb)) action->isEnabled = false;
}

MenuItem presentWhileRunning(const MenuItem& item);

std::vector<MenuItem> presentAllWhileRunning(const std::vector<MenuItem>& rows) {
    std::vector<MenuItem> out;
    out.reserve(rows.size());
    for (const auto& row : rows) out.push_back(presentWhileRunning(row));
    return out;
}

MenuItem presentWhileRunning(const MenuItem& item) {
    if (const auto* update = item.as<row::CliUpdate>()) {
        row::CliUpdate blocked = *update;
        blocked.update.isBlocked = true;
        return blocked;
    }
    if (const auto* status = item.as<row::Status>()) {
        row::Status copy = *status;
        disableCliStarter(copy.action);
        return copy;
    }
    if (const auto* connection = item.as<row::Connection>()) {
        row::Connection copy = *connection;
        disableCliStarter(copy.action);
        return copy;
    }
    if (const auto* submenu = item.as<row::Submenu>()) {
        return row::Submenu{submenu->title, presentAllWhileRunning(submenu->items)};
    }
    if (const auto* action = item.as<row::Action>(); action && startsCliCommand(action->action.verb)) {
        return row::Status{StatusMark::muted, action->action.title, "Another command is running", std::nullopt,
                           std::nullopt};
    }
    return item;
}

}  // namespace

std::vector<MenuItem> ActionRunState::items() const {
    std::vector<MenuItem> rows;
    if (const auto* failed = std::get_if<Failed>(&phase)) {
        rows.push_back(row::Status{StatusMark::problem, "Couldn't finish: " + action.title, failed->message,
                                   std::nullopt, std::nullopt});
        rows.push_back(row::Action{plainAction("Retry", verb::RetryRun{})});
        if (auto arguments = terminalArguments(action.verb))
            rows.push_back(row::Action{plainAction("Continue in Terminal\u2026", verb::Terminal{std::move(*arguments)})});
        rows.push_back(row::Action{plainAction("Dismiss", verb::DismissRun{})});
    } else if (const auto* background = std::get_if<verb::Background>(&action.verb)) {
        rows.push_back(row::Status{StatusMark::muted, background->action.progress, background->action.detail,
                                   std::nullopt, std::nullopt});
        rows.push_back(row::Action{plainAction("Cancel", verb::CancelRun{})});
    } else {
        rows.push_back(
            row::Status{StatusMark::muted, "Running: " + action.title, std::nullopt, std::nullopt, std::nullopt});
    }
    rows.push_back(row::Separator{});
    return rows;
}

std::vector<MenuItem> ActionRunState::presenting(const std::vector<MenuItem>& rows) const {
    if (!isRunning()) return rows;
    return presentAllWhileRunning(rows);
}

}  // namespace corvane
