#pragma once

// The CLI update row: its texts, and the app's own memory of an update the user started. Once an
// update starts, the CLI restarts itself in the background and may answer polls with another
// version, from another path, or not at all for a while; the presentation keeps the row in the
// right phase across those polls and across restarts of the app (it is persisted as JSON).

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "Instant.h"
#include "MenuModel.h"

namespace corvane {

// Row texts of an update, by phase (see the .cpp for the exact words).
std::string cliUpdateTitle(const CliUpdate& update);
std::optional<std::string> cliUpdateSubtitle(const CliUpdate& update);
std::string cliUpdateActionTitle(const CliUpdate& update);
// True exactly when not blocked and the phase is `available` or `failed`.
bool cliUpdateCanStart(const CliUpdate& update);
// The button's action: titled `cliUpdateActionTitle`, verb `cliUpdate` carrying this update.
MenuAction cliUpdateAction(const CliUpdate& update);

// True when both texts are "major.minor.patch" of decimal digits (exactly three non-empty
// pieces) and `version` is lexicographically greater than `than`. Anything else is false, so a
// pre-release, "1.2" or "1.2.3.4" never counts as newer. Digit runs of any length compare
// correctly (no integer overflow).
bool newer(std::string_view version, std::string_view than);

// Shown when an installation was never confirmed.
inline constexpr std::string_view cliUpdateNotConfirmedText =
    "The update has not been confirmed. Reopen the menu to check, or view the update log.";
// Seconds an installation may stay unconfirmed before it counts as failed.
inline constexpr double cliUpdateConfirmSeconds = 900.0;

struct CliUpdatePresentation {
    std::optional<CliUpdate> update;  // absent: nothing remembered
    std::size_t index = 0;            // position of the update row when the update started
    std::optional<Instant> startedAt;
    std::optional<std::string> sourceVersion;  // the CLI version installed when the update started
    std::optional<std::string> sourcePath;     // the CLI path in use when the update started
    bool successWasShown = false;              // a finished result was shown in an opened menu

    bool operator==(const CliUpdatePresentation&) const = default;

    bool isInstalling() const { return update && update->phase == CliUpdatePhase::installing; }

    // The user pressed the update button: remember `update` as installing (detail cleared), the
    // position of the first update row in `items` (0 without one), `now`, the installed version
    // and `cliPath`.
    void start(const CliUpdate& update, const std::vector<MenuItem>& items, std::string_view cliPath, Instant now);

    // A poll delivered `payload`, answered by the CLI at `cliPath` (empty when unknown).
    // Reconciles the remembered update with it, then calls `expire(now)`.
    //
    // Signals:
    //   newerVersion  newer(payload.cliVersion, sourceVersion)
    //   pathChanged   cliPath and sourcePath both non-empty and different
    //   noRow         payload.items holds no `cliUpdate` row
    //   cliConfirmed  payload.cliUpToDateAt is present and later than startedAt
    //   rowFailed     the payload's first `cliUpdate` row has phase `failed`
    //
    // Remembered phase `installing` or `failed`; first matching row wins:
    //   | # | condition                              | result                                        |
    //   |---|----------------------------------------|-----------------------------------------------|
    //   | 1 | newerVersion                           | succeeded, installedVersion = payload's       |
    //   | 2 | pathChanged and noRow                  | upToDate, installedVersion = payload's        |
    //   | 3 | noRow and cliConfirmed                 | upToDate, installedVersion = payload's        |
    //   | 4 | installing, rowFailed, allowFailure    | failed, detail = the row's detail (if any),   |
    //   |   |                                        | installedVersion = payload's                  |
    //   | 5 | otherwise                              | unchanged                                     |
    // Rows 1–3 clear `detail`. A failed update confirmed later (rows 1–3) becomes a success: the
    // installation did arrive, only late. Only a newer version is "updated to": a CLI found at
    // another path with an older or equal version was not installed by this update. Without
    // `allowFailure` (another run's state owns the failure) an installation never fails here;
    // `expire` still bounds it.
    //
    // Remembered phase `available`, `succeeded` or `upToDate`, or nothing remembered: unchanged.
    // A finished result stays until it has been shown and the menu closed.
    void observe(const MenuPayload& payload, std::string_view cliPath, Instant now, bool allowFailure);

    // An installation unconfirmed for more than 900 s since `startedAt` fails with
    // `cliUpdateNotConfirmedText`. Exactly 900 s is still installing.
    void expire(Instant now);

    // The update command itself failed: an installing update becomes `failed` with `message` as
    // its detail. Any other phase is left alone.
    void launcherFailed(std::string_view message);

    // `items` with the remembered update in place: it replaces the first top-level `cliUpdate`
    // row, or is inserted at `index` (appended when `index` lies beyond the end). Nothing
    // remembered: `items` unchanged.
    std::vector<MenuItem> presenting(const std::vector<MenuItem>& items) const;

    // The menu opened: a finished result (succeeded or upToDate) now counts as shown.
    void didShowMenu();
    // The menu closed: a result that was shown is forgotten; an installation or a failure stays.
    void didCloseMenu();
};

// JSON with the field names as keys; absent optionals are left out. Times are seconds since 1970
// as a number. Decoding returns nothing for anything malformed and never throws.
nlohmann::json toJson(const CliUpdate& update);
std::optional<CliUpdate> cliUpdateFromJson(const nlohmann::json& value);
nlohmann::json toJson(const CliUpdatePresentation& presentation);
std::optional<CliUpdatePresentation> cliUpdatePresentationFromJson(const nlohmann::json& value);
// Text forms, for the defaults store.
std::string encodeCliUpdatePresentation(const CliUpdatePresentation& presentation);
std::optional<CliUpdatePresentation> decodeCliUpdatePresentation(std::string_view text);

}  // namespace corvane
