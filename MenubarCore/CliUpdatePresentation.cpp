#include "CliUpdatePresentation.h"

#include <array>
#include <cmath>
#include <limits>

#include <nlohmann/json.hpp>

namespace corvane {
namespace {

using Phase = CliUpdatePhase;

std::string availableBase(const CliUpdate& update) {
    if (update.target) return "Corvane CLI " + *update.target + " is available";
    return "A Corvane CLI update is available";
}

// "major.minor.patch" split into its three digit runs, or nothing.
std::optional<std::array<std::string_view, 3>> versionParts(std::string_view text) {
    std::array<std::string_view, 3> parts;
    std::size_t count = 0;
    std::size_t start = 0;
    while (true) {
        std::size_t dot = text.find('.', start);
        std::string_view piece = text.substr(start, dot == std::string_view::npos ? std::string_view::npos : dot - start);
        if (count == 3 || piece.empty()) return std::nullopt;
        for (char c : piece)
            if (c < '0' || c > '9') return std::nullopt;
        parts[count++] = piece;
        if (dot == std::string_view::npos) break;
        start = dot + 1;
    }
    if (count != 3) return std::nullopt;
    return parts;
}

// Compares two digit runs as integers of any size: -1, 0 or 1.
int compareDigits(std::string_view a, std::string_view b) {
    auto strip = [](std::string_view s) {
        while (s.size() > 1 && s.front() == '0') s.remove_prefix(1);
        return s;
    };
    a = strip(a);
    b = strip(b);
    if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
    int c = a.compare(b);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

const CliUpdate* firstUpdateRow(const std::vector<MenuItem>& items, std::size_t* position = nullptr) {
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (const auto* row = items[i].as<row::CliUpdate>()) {
            if (position) *position = i;
            return &row->update;
        }
    }
    return nullptr;
}

std::optional<std::string> optionalText(const nlohmann::json& object, const char* key, bool& ok) {
    auto it = object.find(key);
    if (it == object.end() || it->is_null()) return std::nullopt;
    if (!it->is_string()) {
        ok = false;
        return std::nullopt;
    }
    return it->get<std::string>();
}

}  // namespace

std::string cliUpdateTitle(const CliUpdate& update) {
    switch (update.phase) {
        case Phase::available: return availableBase(update) + (update.isBlocked ? "." : ". Update?");
        case Phase::installing: return availableBase(update) + ".";
        case Phase::failed: return update.isBlocked ? "CLI update failed." : "CLI update failed. Retry?";
        case Phase::succeeded: return "Corvane CLI updated to " + update.installedVersion;
        case Phase::upToDate: return "Corvane CLI is up to date";
    }
    return {};
}

std::optional<std::string> cliUpdateSubtitle(const CliUpdate& update) {
    switch (update.phase) {
        case Phase::installing: return std::string("Updating CLI\u2026");
        case Phase::succeeded: return std::nullopt;
        case Phase::available:
            if (update.isBlocked) return std::string("Another command is running.");
            [[fallthrough]];
        case Phase::failed:
        case Phase::upToDate:
            if (update.detail) return *update.detail;
            return "You have " + update.installedVersion + ".";
    }
    return std::nullopt;
}

std::string cliUpdateActionTitle(const CliUpdate& update) {
    if (update.isBlocked) return "Another command is running";
    if (update.phase == Phase::failed) return "Retry update";
    if (update.target) return "Update Corvane CLI to " + *update.target;
    return "Update Corvane CLI";
}

bool cliUpdateCanStart(const CliUpdate& update) {
    return !update.isBlocked && (update.phase == Phase::available || update.phase == Phase::failed);
}

MenuAction cliUpdateAction(const CliUpdate& update) {
    return MenuAction{cliUpdateActionTitle(update), verb::CliUpdate{update}, std::nullopt, std::nullopt, true};
}

bool newer(std::string_view version, std::string_view than) {
    auto a = versionParts(version);
    auto b = versionParts(than);
    if (!a || !b) return false;
    for (std::size_t i = 0; i < 3; ++i) {
        int c = compareDigits((*a)[i], (*b)[i]);
        if (c != 0) return c > 0;
    }
    return false;
}

void CliUpdatePresentation::start(const CliUpdate& started, const std::vector<MenuItem>& items,
                                  std::string_view cliPath, Instant now) {
    update = started;
    update->phase = Phase::installing;
    update->detail.reset();
    std::size_t position = 0;
    index = firstUpdateRow(items, &position) ? position : 0;
    startedAt = now;
    sourceVersion = started.installedVersion;
    sourcePath = std::string(cliPath);
    successWasShown = false;
}

void CliUpdatePresentation::observe(const MenuPayload& payload, std::string_view cliPath, Instant now,
                                    bool allowFailure) {
    if (update && (update->phase == Phase::installing || update->phase == Phase::failed)) {
        const std::string source = sourceVersion.value_or(std::string());
        const bool newerVersion = newer(payload.cliVersion, source);
        const bool pathChanged = !cliPath.empty() && sourcePath && !sourcePath->empty() && *sourcePath != cliPath;
        const CliUpdate* row = firstUpdateRow(payload.items);
        const bool cliConfirmed = payload.cliUpToDateAt && startedAt && *payload.cliUpToDateAt > *startedAt;

        auto finish = [&](Phase phase) {
            update->phase = phase;
            update->installedVersion = payload.cliVersion;
            update->detail.reset();
        };
        if (newerVersion) {
            finish(Phase::succeeded);
        } else if ((pathChanged && !row) || (!row && cliConfirmed)) {
            finish(Phase::upToDate);
        } else if (update->phase == Phase::installing && row && row->phase == Phase::failed && allowFailure) {
            update->phase = Phase::failed;
            update->installedVersion = payload.cliVersion;
            update->detail = row->detail;
        }
    }
    expire(now);
}

void CliUpdatePresentation::expire(Instant now) {
    if (!isInstalling() || !startedAt) return;
    if (now - *startedAt > std::chrono::seconds(static_cast<long long>(cliUpdateConfirmSeconds)))
        launcherFailed(cliUpdateNotConfirmedText);
}

void CliUpdatePresentation::launcherFailed(std::string_view message) {
    if (!isInstalling()) return;
    update->phase = Phase::failed;
    update->detail = std::string(message);
}

std::vector<MenuItem> CliUpdatePresentation::presenting(const std::vector<MenuItem>& items) const {
    if (!update) return items;
    std::vector<MenuItem> result = items;
    std::size_t position = 0;
    if (firstUpdateRow(result, &position)) {
        result[position] = row::CliUpdate{*update};
    } else if (index <= result.size()) {
        result.insert(result.begin() + static_cast<std::ptrdiff_t>(index), row::CliUpdate{*update});
    } else {
        result.push_back(row::CliUpdate{*update});
    }
    return result;
}

void CliUpdatePresentation::didShowMenu() {
    if (update && isDone(update->phase)) successWasShown = true;
}

void CliUpdatePresentation::didCloseMenu() {
    if (successWasShown) *this = CliUpdatePresentation{};
}

nlohmann::json toJson(const CliUpdate& update) {
    nlohmann::json value = nlohmann::json::object();
    value["phase"] = contractWord(update.phase);
    if (update.target) value["target"] = *update.target;
    value["installedVersion"] = update.installedVersion;
    if (update.detail) value["detail"] = *update.detail;
    value["isBlocked"] = update.isBlocked;
    value["run"] = update.run;
    value["logPath"] = update.logPath;
    return value;
}

std::optional<CliUpdate> cliUpdateFromJson(const nlohmann::json& value) {
    if (!value.is_object()) return std::nullopt;
    auto phaseIt = value.find("phase");
    auto versionIt = value.find("installedVersion");
    auto runIt = value.find("run");
    auto logIt = value.find("logPath");
    auto blockedIt = value.find("isBlocked");
    if (phaseIt == value.end() || !phaseIt->is_string()) return std::nullopt;
    if (versionIt == value.end() || !versionIt->is_string()) return std::nullopt;
    if (runIt == value.end() || !runIt->is_array()) return std::nullopt;
    if (logIt == value.end() || !logIt->is_string()) return std::nullopt;
    if (blockedIt != value.end() && !blockedIt->is_boolean()) return std::nullopt;
    auto phase = cliUpdatePhaseFromWord(phaseIt->get_ref<const std::string&>());
    if (!phase) return std::nullopt;

    CliUpdate update;
    update.phase = *phase;
    bool ok = true;
    update.target = optionalText(value, "target", ok);
    update.detail = optionalText(value, "detail", ok);
    if (!ok) return std::nullopt;
    update.installedVersion = versionIt->get<std::string>();
    update.isBlocked = blockedIt != value.end() && blockedIt->get<bool>();
    for (const auto& argument : *runIt) {
        if (!argument.is_string()) return std::nullopt;
        update.run.push_back(argument.get<std::string>());
    }
    update.logPath = logIt->get<std::string>();
    return update;
}

nlohmann::json toJson(const CliUpdatePresentation& presentation) {
    nlohmann::json value = nlohmann::json::object();
    if (presentation.update) value["update"] = toJson(*presentation.update);
    value["index"] = presentation.index;
    if (presentation.startedAt)
        value["startedAt"] = static_cast<double>(presentation.startedAt->time_since_epoch().count()) / 1e6;
    if (presentation.sourceVersion) value["sourceVersion"] = *presentation.sourceVersion;
    if (presentation.sourcePath) value["sourcePath"] = *presentation.sourcePath;
    value["successWasShown"] = presentation.successWasShown;
    return value;
}

std::optional<CliUpdatePresentation> cliUpdatePresentationFromJson(const nlohmann::json& value) {
    if (!value.is_object()) return std::nullopt;
    CliUpdatePresentation presentation;

    auto updateIt = value.find("update");
    if (updateIt != value.end() && !updateIt->is_null()) {
        presentation.update = cliUpdateFromJson(*updateIt);
        if (!presentation.update) return std::nullopt;
    }
    auto indexIt = value.find("index");
    if (indexIt != value.end()) {
        if (!indexIt->is_number_unsigned()) return std::nullopt;
        presentation.index = indexIt->get<std::size_t>();
    }
    auto startedIt = value.find("startedAt");
    if (startedIt != value.end() && !startedIt->is_null()) {
        if (!startedIt->is_number()) return std::nullopt;
        double seconds = startedIt->get<double>();
        // Microseconds must fit a 64-bit count; beyond that the record is damaged.
        if (!std::isfinite(seconds) || std::fabs(seconds) > 9.0e12) return std::nullopt;
        // The number round-trips exactly; rounding recovers the microsecond count it came from.
        presentation.startedAt = Instant(std::chrono::microseconds(std::llround(seconds * 1e6)));
    }
    bool ok = true;
    presentation.sourceVersion = optionalText(value, "sourceVersion", ok);
    presentation.sourcePath = optionalText(value, "sourcePath", ok);
    if (!ok) return std::nullopt;
    auto shownIt = value.find("successWasShown");
    if (shownIt != value.end()) {
        if (!shownIt->is_boolean()) return std::nullopt;
        presentation.successWasShown = shownIt->get<bool>();
    }
    return presentation;
}

std::string encodeCliUpdatePresentation(const CliUpdatePresentation& presentation) {
    // Replacement of invalid UTF-8 keeps the encoder from throwing on odd CLI text.
    return toJson(presentation).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<CliUpdatePresentation> decodeCliUpdatePresentation(std::string_view text) {
    nlohmann::json value = nlohmann::json::parse(text, nullptr, false);
    if (value.is_discarded()) return std::nullopt;
    return cliUpdatePresentationFromJson(value);
}

}  // namespace corvane
