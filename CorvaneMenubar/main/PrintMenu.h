#pragma once

// `corvane-menubar --print-menu`: a preview of the menu for one CLI answer, without a desktop.
// It decodes the answer, decides the menu state as for a CLI that was found and just answered,
// and prints the icon state and the rows the menu would show.

#include <iosfwd>
#include <string>
#include <vector>

#include "Instant.h"

namespace corvane {

// Exit statuses: 0 shown, 1 the answer could not be read (or the file not opened), 64 bad usage.
inline constexpr int printMenuUsageError = 64;

// `args` are the words after "--print-menu": "--payload FILE|-" (required; "-" reads `in`),
// "--now TIME" (an ISO 8601 time; `clockNow` otherwise) and "--json".
int printMenu(const std::vector<std::string>& args, Instant clockNow, std::istream& in, std::ostream& out,
              std::ostream& err);

std::string printMenuUsage();

// `--print-menu` without `--payload`: one real poll of the installed CLI (locate, run once),
// printed by the preview with the remaining `args` ("--json", "--now"). Exit 0 on a payload,
// 2 when no CLI was found, 1 on any other failure with the failure sentence on stderr.
int printInstalledMenu(const std::vector<std::string>& args);

}  // namespace corvane
