#include "AppMenuState.h"

#include <array>

#include "CliInstall.h"
#include "MenuDecode.h"
#include "MenuSnapshot.h"
#include "MenuTime.h"

namespace corvane {
namespace {

// How long after launch a CLI that has not answered still reads as "connecting".
constexpr double startupGraceSeconds = 120;

MenuAction copyDiagnostics() { return MenuAction{"Copy Diagnostics", verb::Diagnostics{}, {}, {}, true}; }

MenuItem status(StatusMark mark, std::string title, std::optional<std::string> subtitle,
                std::optional<MenuAction> action) {
    return row::Status{mark, std::move(title), std::move(subtitle), std::nullopt, std::move(action)};
}

const char* const notRespondingTitle = "The Corvane CLI isn't responding";

}  // namespace

std::string_view stateName(const AppMenuState& state) {
    static constexpr std::array<std::string_view, std::variant_size_v<AppMenuState>> names{
        "payload", "stalePayload", "unresponsive", "contractMismatch", "checking", "cliNotFound"};
    return names[state.index()];
}

std::string_view iconWord(IconState icon) {
    switch (icon) {
        case IconState::running: return "running";
        case IconState::attention: return "attention";
        case IconState::paused: return "paused";
        case IconState::unknown: break;
    }
    return "unknown";
}

AppMenuState appMenuState(const AppStateInputs& inputs) {
    if (inputs.contractMismatch) return appstate::ContractMismatch{*inputs.contractMismatch};
    if (!inputs.cliLocated) return appstate::Checking{};
    if (!*inputs.cliLocated) return appstate::CliNotFound{};
    if (inputs.lastPayload && inputs.lastSuccessAt) {
        if (payloadIsFresh(*inputs.lastSuccessAt, inputs.lastPayload->refreshSeconds, inputs.now))
            return appstate::Payload{*inputs.lastPayload};
        return appstate::StalePayload{*inputs.lastPayload, *inputs.lastSuccessAt};
    }
    const double running = secondsBetween(inputs.launchedAt, inputs.now);
    if (inputs.consecutivePollFailures < 2 && running <= startupGraceSeconds) return appstate::Checking{};
    return appstate::Unresponsive{inputs.lastFailureDetail};
}

std::optional<std::vector<MenuItem>> bakedMenuItems(const AppMenuState& state, Instant now) {
    struct Visitor {
        Instant now;
        std::optional<std::vector<MenuItem>> operator()(const appstate::Payload&) const { return std::nullopt; }
        std::optional<std::vector<MenuItem>> operator()(const appstate::CliNotFound&) const {
            return std::vector<MenuItem>{
                status(StatusMark::problem, "The Corvane CLI isn't installed", "Install the CLI to connect this app.",
                       MenuAction{"Copy Install Command", verb::Copy{std::string(cliInstallCommand)}, {}, {}, true})};
        }
        std::optional<std::vector<MenuItem>> operator()(const appstate::Checking&) const {
            return std::vector<MenuItem>{status(StatusMark::muted, "Connecting to the Corvane CLI\u2026", {}, {})};
        }
        std::optional<std::vector<MenuItem>> operator()(const appstate::ContractMismatch& mismatch) const {
            return std::vector<MenuItem>{status(StatusMark::problem, "This app is too old for the installed Corvane CLI",
                                                "The CLI now speaks menu format " + std::to_string(mismatch.found) +
                                                    "; this app speaks " + std::to_string(menuContract) +
                                                    ". Update the app.",
                                                copyDiagnostics())};
        }
        std::optional<std::vector<MenuItem>> operator()(const appstate::Unresponsive& unresponsive) const {
            std::vector<MenuItem> items{status(StatusMark::problem, notRespondingTitle,
                                               "It hasn't answered since this app started.", copyDiagnostics())};
            if (unresponsive.detail && !unresponsive.detail->empty())
                items.push_back(status(StatusMark::muted, *unresponsive.detail, {}, {}));
            return items;
        }
        std::optional<std::vector<MenuItem>> operator()(const appstate::StalePayload& stale) const {
            return std::vector<MenuItem>{status(StatusMark::problem, notRespondingTitle,
                                                "No answer for " + durationText(secondsBetween(stale.lastSuccessAt, now)) +
                                                    ". This menu can't show current status.",
                                                copyDiagnostics())};
        }
    };
    return std::visit(Visitor{now}, state);
}

IconState iconState(const AppMenuState& state) {
    const auto* fresh = std::get_if<appstate::Payload>(&state);
    if (!fresh || !fresh->payload.icon) return IconState::unknown;
    switch (*fresh->payload.icon) {
        case MenuIcon::running: return IconState::running;
        case MenuIcon::attention: return IconState::attention;
        case MenuIcon::paused: return IconState::paused;
    }
    return IconState::unknown;
}

}  // namespace corvane
