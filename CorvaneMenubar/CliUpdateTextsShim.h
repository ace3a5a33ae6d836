#pragma once
// Temporary stand-in for the update texts until the shared presentation header lands.
#include <optional>
#include <string>

#include "MenuModel.h"

namespace corvane::shim {

inline std::string cliUpdateBase(const CliUpdate& u) {
    return u.target ? "Corvane CLI " + *u.target + " is available" : "A Corvane CLI update is available";
}
inline std::string cliUpdateTitle(const CliUpdate& u) {
    switch (u.phase) {
    case CliUpdatePhase::available: return cliUpdateBase(u) + (u.isBlocked ? "." : ". Update?");
    case CliUpdatePhase::installing: return cliUpdateBase(u) + ".";
    case CliUpdatePhase::failed: return u.isBlocked ? "CLI update failed." : "CLI update failed. Retry?";
    case CliUpdatePhase::succeeded: return "Corvane CLI updated to " + u.installedVersion;
    case CliUpdatePhase::upToDate: return "Corvane CLI is up to date";
    }
    return {};
}
inline std::optional<std::string> cliUpdateSubtitle(const CliUpdate& u) {
    switch (u.phase) {
    case CliUpdatePhase::installing: return "Updating CLI\u2026";
    case CliUpdatePhase::succeeded: return std::nullopt;
    case CliUpdatePhase::available:
        if (u.isBlocked) return "Another command is running.";
        [[fallthrough]];
    default: return u.detail ? *u.detail : "You have " + u.installedVersion + ".";
    }
}
inline std::string cliUpdateActionTitle(const CliUpdate& u) {
    if (u.isBlocked) return "Another command is running";
    if (u.phase == CliUpdatePhase::failed) return "Retry update";
    return u.target ? "Update Corvane CLI to " + *u.target : "Update Corvane CLI";
}
inline bool cliUpdateCanStart(const CliUpdate& u) {
    return !u.isBlocked && (u.phase == CliUpdatePhase::available || u.phase == CliUpdatePhase::failed);
}
inline MenuAction cliUpdateAction(const CliUpdate& u) {
    return MenuAction{cliUpdateActionTitle(u), verb::CliUpdate{u}, std::nullopt, std::nullopt, true};
}

}  // namespace corvane::shim
