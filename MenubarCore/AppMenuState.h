#pragma once

// What the app shows between the raw facts of the poll cycle (was the CLI found, when did it last
// answer, how often has it failed) and the menu and icon: one pure decision, so the menu is never
// blank or frozen. No clock is read here; the caller passes `now`.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Instant.h"
#include "MenuModel.h"

namespace corvane {

// The refresh interval used while no payload has told the app its own `refreshSeconds`.
inline constexpr double defaultRefreshSeconds = 60.0;

// Built afresh by the poll cycle each time the state is needed.
struct AppStateInputs {
    std::optional<bool> cliLocated;            // absent: the search has not finished yet
    std::optional<MenuPayload> lastPayload;    // the last payload that decoded
    std::optional<Instant> lastSuccessAt;      // when that payload was taken
    std::optional<std::int64_t> contractMismatch;  // a contract version this app cannot read
    std::int64_t consecutivePollFailures = 0;
    std::optional<std::string> lastFailureDetail;  // one line for the user
    Instant launchedAt{};
    Instant now{};
    bool operator==(const AppStateInputs&) const = default;
};

namespace appstate {
struct Payload {
    MenuPayload payload;
    bool operator==(const Payload&) const = default;
};
struct StalePayload {
    MenuPayload payload;
    Instant lastSuccessAt{};
    bool operator==(const StalePayload&) const = default;
};
struct Unresponsive {
    std::optional<std::string> detail;
    bool operator==(const Unresponsive&) const = default;
};
struct ContractMismatch {
    std::int64_t found = 0;
    bool operator==(const ContractMismatch&) const = default;
};
struct Checking {
    bool operator==(const Checking&) const = default;
};
struct CliNotFound {
    bool operator==(const CliNotFound&) const = default;
};
}  // namespace appstate

// Cases in this order; states compare field by field so a redraw can be skipped when unchanged.
using AppMenuState = std::variant<appstate::Payload, appstate::StalePayload, appstate::Unresponsive,
                                  appstate::ContractMismatch, appstate::Checking, appstate::CliNotFound>;

// The case name ("payload", "stalePayload", "unresponsive", "contractMismatch", "checking", "cliNotFound").
std::string_view stateName(const AppMenuState& state);

// The first three correspond one to one to `MenuIcon`; `unknown` means no icon information.
enum class IconState { running, attention, paused, unknown };

// The case name ("running", "attention", "paused", "unknown").
std::string_view iconWord(IconState icon);

// First rule that applies: a contract mismatch; the search still running (checking); no CLI; a
// payload, fresh for two refresh intervals so one missed poll never shows as stale; otherwise
// checking until the second failure in a row or two minutes after launch, then unresponsive.
AppMenuState appMenuState(const AppStateInputs& inputs);

// The app's own rows for every state but a fresh payload (absent: the payload's rows are shown).
std::optional<std::vector<MenuItem>> bakedMenuItems(const AppMenuState& state, Instant now);

// An icon is shown only for a fresh payload; every other state is `unknown`.
IconState iconState(const AppMenuState& state);

}  // namespace corvane
