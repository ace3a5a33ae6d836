#pragma once

#include <string>
#include <variant>
#include <vector>

#include "MenuModel.h"

namespace corvane {

// The CLI command started from the menu that is running now, or the last one that failed. The
// action runner owns it; the menu shows it through `items` and blocks other CLI rows through
// `presenting` while it runs.
struct ActionRunState {
    struct Running {
        bool operator==(const Running&) const = default;
    };
    struct Failed {
        std::string message;  // the sentence shown under the failed run
        bool operator==(const Failed&) const = default;
    };
    using Phase = std::variant<Failed, Running>;

    MenuAction action;  // the row that started the run, as it was when picked
    Phase phase = Running{};

    bool isRunning() const { return std::holds_alternative<Running>(phase); }

    // The rows that stand for the run, placed before the menu's own rows: a failed run offers
    // "Retry", "Continue in Terminal…" (when a terminal command exists) and "Dismiss"; a running
    // one shows its progress (and "Cancel" for a background action). Always ends with a separator.
    std::vector<MenuItem> items() const;

    // `rows` as they are shown under this state. While running, rows that would start a second
    // CLI command become inert (recursively into submenus); after a failure nothing is blocked.
    std::vector<MenuItem> presenting(const std::vector<MenuItem>& rows) const;

    bool operator==(const ActionRunState&) const = default;
};

}  // namespace corvane
