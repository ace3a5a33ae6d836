#pragma once

// The menu as JSON, for the headless shell's frames and for tests. One object per row, in order:
//   separator:    {"separator": true}
//   any other row {"title": text (the attributed title's plain text when there is one),
//                  "enabled": bool,
//                  "checked": bool            only for a check item ("Launch at Login"), or when
//                                             the check mark is on,
//                  "toolTip": text            only when there is one,
//                  "key": text                only when there is a key equivalent,
//                  "badge": accessibility text of the badge, only when there is one,
//                  "highlighted": true        only when the row is highlighted,
//                  "kind": text               only for special rows: "statusAction",
//                                             "cliUpdate.notice", "cliUpdate.log", or the custom
//                                             content's kind ("agent", "cliUpdateView",
//                                             "dismissible", "header", "section", "status",
//                                             "connection"),
//                  "text": text               the whole one-line text the plain surface shows
//                                             (PlainSurface.h), only when it differs from "title",
//                  "targets": [{"part": word, "title": text}...]  the row's targets when they carry
//                                             titles of their own (agent, dismissible and
//                                             status-action rows); "pick PATH PART" chooses one,
//                  "submenu": [rows...]       only when the row has a submenu}

#include <nlohmann/json.hpp>

#include <string>

#include "NativeMenu.h"

namespace corvane {

// `keyPrefix`: the keys of the plain surface (PlainSurface.h) the rows are read with.
nlohmann::json menuTreeJson(const NativeMenu& menu, const std::string& keyPrefix = {});

}  // namespace corvane
