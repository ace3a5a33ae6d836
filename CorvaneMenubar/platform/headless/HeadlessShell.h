#pragma once

// `corvane-menubar --headless`: the whole app on the headless seams, for machines without a
// desktop and as the driver of the integration tests.
//
// When stdout is a terminal (and without --json) the frames and events below are drawn for a
// person instead (TerminalScreen.h); the commands are the same. Otherwise:
//
// Output (stdout), one compact JSON object per line:
//   A frame, whenever the icon, the tool tip, the open state or the menu changed after a render:
//     {"frame": n, "icon": "running"|"attention"|"paused"|"unknown", "badge": letter or null,
//      "tooltip": text, "menuOpen": bool, "items": [rows]}
//   where rows are the live native menu as `menuTreeJson` describes it (separators included,
//   "enabled" on every other row, submenus nested under "submenu"; the app rows "Launch at
//   Login", "About …" and "Quit …" at the end, or at the end of the "More" submenu).
//   `n` counts frames from 1.
//   Effects as event lines (see PrintingEffects.h): "openUrl", "openFile", "copy",
//   "openTerminal", "focus", "alert", "activate"; and from this shell:
//     {"event": "about"}                          the About row was chosen
//     {"event": "picked", "path": "7/2"}          a pick reached an enabled row with a handler
//     {"event": "error", "message": text}         a command that could not be carried out
//     {"event": "exit"}                           the last line, after the log was flushed
//
// Input (stdin), one command per line (surrounding white space ignored, empty lines skipped):
//   open               the user opens the status menu (a menu-open poll follows)
//   close              the user closes it
//   pick PATH [PART]   chooses the row at PATH: indexes into the frame's "items" separated by
//                      "/" to go into a submenu ("3", "7/2"); separators count. PART is one of
//                      main (default), harness, corvane, dismiss. An open menu closes first, as a
//                      real menu does when a row is chosen.
//   highlight PATH     moves the keyboard highlight onto a top-level row ("highlight -" clears)
//   quit               terminates like the Quit row
// End of input, SIGTERM and SIGINT terminate too. Termination flushes the client log, stops a
// running action (waiting at most 3 s for its process), stops timers and watchers, prints
// {"event": "exit"} and returns 0.
//
// Files follow $HOME and the XDG variables: the log in `logDirectory`, the defaults in
// `JsonFileDefaults::defaultPath`.

#include <memory>
#include <string>

#include "app/Shell.h"

namespace corvane {

// The headless shell: the seams above on the standard library, stdin and stdout. `notice` (may be
// empty) says why the app runs headless; the terminal drawing keeps it on its top line.
std::unique_ptr<Shell> makeHeadlessShell(const ShellOptions& options, std::string notice = {});

}  // namespace corvane
