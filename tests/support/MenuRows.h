#pragma once

// Small makers of menu rows for the menu tests.

#include <string>
#include <vector>

#include "MenuModel.h"
#include "menu/NativeMenu.h"

namespace corvane::testrows {

inline MenuAction urlAction(const std::string& title, const std::string& url = "https://example.com") {
    return MenuAction{title, verb::Url{url}, std::nullopt, std::nullopt, true};
}
inline MenuItem action(const std::string& title) { return row::Action{urlAction(title)}; }
inline MenuItem agent(const std::string& id, const std::string& title, std::optional<std::string> status,
                      std::optional<std::string> label) {
    return row::Agent{AgentRow{id, "claude", std::move(status), std::move(label), urlAction("Open in Claude"),
                               urlAction(title, "https://corvane.test/" + id)}};
}
inline CliUpdate update(CliUpdatePhase phase, bool blocked = false) {
    return CliUpdate{phase, "1.4.0", "1.3.0", std::nullopt, blocked, {"update", "--background"}, "/tmp/update.log"};
}

// Titles of a menu, one level: "-" for separators, a custom row's plain text for content rows.
inline std::vector<std::string> titles(const NativeMenu& menu) {
    std::vector<std::string> out;
    for (const auto& item : menu.items()) {
        if (item->isSeparator())
            out.push_back("-");
        else if (item->content() && item->title().empty())
            out.push_back(plainText(*item->content()));
        else
            out.push_back(item->title());
    }
    return out;
}

inline std::vector<const NativeMenuItem*> identities(const NativeMenu& menu) {
    std::vector<const NativeMenuItem*> out;
    for (const auto& item : menu.items()) out.push_back(item.get());
    return out;
}

}  // namespace corvane::testrows
