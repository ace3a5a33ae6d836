#pragma once

// A JSON and a plain-text view of menu rows, for tools, previews and the headless shell's frames.
// Both show exactly the model: nothing is reworded or hidden.

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "MenuModel.h"

namespace corvane {

// {"type": <rowKindName>, <field>: ...}: the row's fields under their model names ("title",
// "subtitle", "mark", "dismiss", "action", "items", "agent", "update", ...); absent fields are left
// out; marks and phases are contract words; nested rows and actions recurse.
nlohmann::json rowJson(const MenuItem& item);

// {"title", "verb": {"kind": <verbName>, <payload fields>}, "reportClick", "badge", "isEnabled"}.
nlohmann::json actionJson(const MenuAction& action);

// The verb alone: {"kind": <verbName>, <payload fields under their model names>}.
nlohmann::json verbJson(const MenuVerb& verb);

// The update block under its field names ("phase", "target", "installedVersion", "detail",
// "isBlocked", "run", "logPath").
nlohmann::json cliUpdateJson(const CliUpdate& update);

// An indented tree a person can read: one line per row, submenus indented by two spaces, an
// action's verb after an arrow ("Open docs  → url https://…"). Control characters in the rows'
// texts are shown as U+FFFD, so the tree is safe to print on a terminal.
std::string rowsText(const std::vector<MenuItem>& rows);

}  // namespace corvane
