#pragma once

// The menu as JSON, for the headless shell's frames and for tests. One object per row, in order:
//   separator:    {"separator": true}
//   any other row {"title": text (the attributed title's plain text when there is one),
//                  "enabled": bool,
//                  "checked": true            only when the check mark is on,
//                  "toolTip": text            only when there is one,
//                  "key": text                only when there is a key equivalent,
//                  "badge": accessibility text of the badge, only when there is one,
//                  "highlighted": true        only when the row is highlighted,
//                  "kind": text               only for special rows: "statusAction",
//                                             "cliUpdate.notice", "cliUpdate.log", or the custom
//                                             content's kind ("agent", "cliUpdateView",
//                                             "dismissible", "header", "section", "status",
//                                             "connection"),
//                  "text": text               a custom row's plain text, only when not empty,
//                  "submenu": [rows...]       only when the row has a submenu}

#include <nlohmann/json.hpp>

#include "NativeMenu.h"

namespace corvane {

nlohmann::json menuTreeJson(const NativeMenu& menu);

}  // namespace corvane
