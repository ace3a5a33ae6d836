#pragma once

// The one composition root every shell runs through: the entry point picks a shell
// (ShellChoice.h), and `runApp` does the rest on it.

#include "app/Shell.h"

namespace corvane {

struct RunOptions {
    // "--unregister-login-item": forget the first-launch attempt, write the defaults out,
    // unregister the login item and return 0 on success, 1 otherwise. Nothing else starts.
    bool unregisterLoginItem = false;
    // "--demo": the bundled simulator stands in for the CLI (see DemoCli.h).
    bool demo = false;
};

// Runs the app on `shell` and returns the process exit status. In order: SIGPIPE and SIGXFSZ
// ignored for the whole process; the variant from the shell's information dictionary and the
// environment; `Shell::prepare`; then either the unregister flag, or the client log (the
// per-environment log folder, the app's version, 1 MiB per file), the action runner and the
// delegate, whose launch runs as the main loop's first job, and `Shell::exec`.
//
// The app ends through the Quit row, SIGTERM or SIGINT, or the shell's own `terminate` call: the
// delegate's termination order runs once (it flushes the log, then asks a running poll and a
// background action to stop their processes), then `Shell::quit`. Their jobs get what is left of
// the termination's one deadline (`AppDelegate::terminationWaitLeft`) to finish; a job still
// running then, or a foreground action (left to finish on its own), is left behind and the
// process leaves at once, with everything written.
int runApp(Shell& shell, const RunOptions& options);

}  // namespace corvane
