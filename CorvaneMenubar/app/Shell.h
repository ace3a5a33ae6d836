#pragma once

// A shell: what one platform supplies to the portable app. `runApp` (AppRun.h) builds the client
// log, the action runner and the delegate from it, runs the launch order and the termination
// order, and returns the exit status; a shell only draws, forwards the user's events and runs its
// main loop. A shell is a folder of seam implementations plus one class implementing this
// interface, registered with the entry point through `makeDesktopShell` (DesktopShell.h).
//
// The calls `runApp` makes, in order:
//   infoDictionary, osVersion         before anything else (the variant and the log need them)
//   prepare(variant)                  once; false ends the run with status 1
//   --unregister-login-item: loginItem, defaults, systemLog, then the shell is destroyed
//   otherwise: seams, bundlePath; the delegate is built and its launch is posted to the loop;
//   exec(app, terminate)              runs until `quit`; meanwhile showAbout and systemLog
//   quit                              from inside the termination, on the main thread
// Every call comes on the main thread (the thread that called `runApp`).

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "AppDelegate.h"
#include "ClientLog.h"
#include "Variant.h"

namespace corvane {

// What the command line asks of the shell that `chooseShell` picked.
struct ShellOptions {
    // "--window": the Qt shell opens its window instead of relying on a tray (for desktops with
    // no tray host). Other shells ignore it.
    bool window = false;
    // "--json": the headless shell writes its JSON-lines protocol even to a terminal.
    bool json = false;
    // "--unregister-login-item": only the login item, the defaults and the system log will be
    // asked for. A desktop shell must get by without a display (uninstallers run anywhere).
    bool loginItemOnly = false;
    // The whole command line as given (argv[0] first), for a toolkit that reads its own options
    // (QApplication keeps a reference to an argc/argv pair: the shell stores its own copy).
    std::vector<std::string> arguments;
    bool operator==(const ShellOptions&) const = default;
};

class Shell {
public:
    virtual ~Shell() = default;

    // The app's information dictionary: the variant ("CorvaneEnvironment") and the version come
    // from it. AppKit: the main bundle's Info keys; elsewhere the values baked into the build.
    virtual std::optional<InfoDictionary> infoDictionary() const { return buildInfoDictionary(); }

    // The operating system's version text for the log's lines ("macOS 14.5" on AppKit).
    virtual std::string osVersion() const { return osVersionString(); }

    // Called once the variant is known, before any seam is asked for: a shell whose stores are
    // kept per environment opens them here, a toolkit starts its application object. False (with
    // one sentence on stderr) when the shell cannot run; `runApp` then returns 1.
    virtual bool prepare(const Variant& variant) = 0;

    // The platform's login-item service and the standard defaults (also in `seams`). With
    // `ShellOptions::loginItemOnly` these are the only seams asked for.
    virtual LoginItem& loginItem() = 0;
    virtual Defaults& defaults() = 0;

    // Every seam the delegate runs on. The objects must stay alive until the shell is destroyed,
    // and the main loop must outlive the background work (whose jobs post into it).
    virtual AppSeams seams() = 0;

    // Where the app itself lives: the bundle (AppKit) or the executable. The first launch
    // registers the login item only from an applications folder.
    virtual std::string bundlePath() const = 0;

    // The About row was chosen: show the About panel (headless: announce it).
    virtual void showAbout() = 0;

    // One line for the system log (login-item registration errors). AppKit: os_log/NSLog;
    // elsewhere stderr or the journal.
    virtual void systemLog(std::string_view line) = 0;

    // Runs the main loop until `quit` is called, then returns the exit status (0 after a normal
    // termination). The app's launch is already posted to the loop when `exec` is called.
    // `terminate` runs the termination order (log flushed, running action stopped, timers and
    // watchers dropped, status item removed) and then calls `quit`; later calls do nothing. The
    // shell calls it on the main thread when it ends for a reason of its own (end of input, the
    // toolkit's quit, the session ending). The Quit row and SIGTERM/SIGINT reach it without the shell. `app` is the delegate,
    // for shells that read its state (the headless shell prints frames from `app.onRendered`).
    // AppKit: end the run with `[NSApp stop:]` (plus a posted event), not `terminate:`, so that
    // `exec` returns and the exit policy of `runApp` runs.
    virtual int exec(AppDelegate& app, std::function<void()> terminate) = 0;

    // Makes `exec` return once the current main-loop job is done. Main thread.
    virtual void quit() = 0;
};

}  // namespace corvane
