#include "MenuSnapshot.h"

#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include <nlohmann/json.hpp>

#include "MenuDecode.h"
#include "MenuTime.h"
#include "WordTable.h"

namespace corvane {
namespace {

using Json = nlohmann::json;

constexpr WordTable<SnapshotSkip, 7> skipWords{{
    {SnapshotSkip::missing, "missing"},
    {SnapshotSkip::unreadable, "unreadable"},
    {SnapshotSkip::otherIdentity, "other-identity"},
    {SnapshotSkip::stale, "stale"},
    {SnapshotSkip::stopped, "stopped"},
    {SnapshotSkip::refreshPending, "refresh-pending"},
    {SnapshotSkip::cliChanged, "cli-changed"},
}};

const std::string* text(const Json& object, const char* key) {
    auto it = object.find(key);
    if (it == object.end() || !it->is_string()) return nullptr;
    return &it->get_ref<const std::string&>();
}

std::optional<std::int64_t> integer(const Json& object, const char* key) {
    auto it = object.find(key);
    if (it == object.end()) return std::nullopt;
    if (it->is_number_unsigned()) {
        auto value = it->get<std::uint64_t>();
        if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return std::nullopt;
        return static_cast<std::int64_t>(value);
    }
    if (it->is_number_integer()) return it->get<std::int64_t>();
    return std::nullopt;
}

std::optional<Instant> time(const Json& object, const char* key) {
    const std::string* value = text(object, key);
    if (!value) return std::nullopt;
    return parseMenuTime(*value);
}

}  // namespace

std::string_view wireWord(SnapshotSkip skip) { return wordIn(skipWords, skip); }

std::optional<MenuSnapshot> decodeMenuSnapshot(std::string_view data, Instant now) {
    MenuDecodeResult decoded = decodeMenuPayload(data, now);
    auto* payload = std::get_if<MenuPayload>(&decoded);
    if (!payload) return std::nullopt;

    // The decoder accepted the bytes, so they are one JSON object; read the stamp from them again.
    Json root = Json::parse(data, nullptr, false);
    if (!root.is_object()) return std::nullopt;
    const std::string* appEnv = text(root, "appEnv");
    const std::string* cliVersion = text(root, "cliVersion");
    auto stampIt = root.find("snapshot");
    if (!appEnv || !cliVersion || stampIt == root.end() || !stampIt->is_object()) return std::nullopt;
    const Json& stamp = *stampIt;

    auto version = integer(stamp, "version");
    const std::string* bootId = text(stamp, "bootId");
    auto pid = integer(stamp, "pid");
    auto sequence = integer(stamp, "sequence");
    if (!version || *version != 1 || !bootId || !pid || !sequence || *sequence < 1) return std::nullopt;
    if (*pid < std::numeric_limits<std::int32_t>::min() || *pid > std::numeric_limits<std::int32_t>::max())
        return std::nullopt;
    auto writtenAt = time(stamp, "writtenAt");
    auto staleAfter = time(stamp, "staleAfter");
    auto readStartedAt = time(stamp, "readStartedAt");
    if (!writtenAt || !staleAfter || !readStartedAt) return std::nullopt;

    const std::string* apiUrl = text(stamp, "apiUrl");
    const std::string* webUrl = text(stamp, "webUrl");
    if (!apiUrl || !webUrl) return std::nullopt;
    SnapshotIdentity identity{*appEnv, *cliVersion, *apiUrl, *webUrl, std::nullopt};
    auto enrollmentIt = stamp.find("enrollment");
    if (enrollmentIt != stamp.end() && !enrollmentIt->is_null()) {
        if (!enrollmentIt->is_object()) return std::nullopt;
        const std::string* machineId = text(*enrollmentIt, "machineId");
        if (!machineId) return std::nullopt;
        SnapshotEnrollment enrollment{*machineId, std::nullopt};
        auto orgIt = enrollmentIt->find("orgId");
        if (orgIt != enrollmentIt->end() && !orgIt->is_null()) {
            if (!orgIt->is_string()) return std::nullopt;
            enrollment.orgId = orgIt->get<std::string>();
        }
        identity.enrollment = std::move(enrollment);
    }

    return MenuSnapshot{std::move(*payload),
                        SnapshotStamp{*bootId, static_cast<std::int32_t>(*pid), *sequence, *writtenAt, *staleAfter,
                                      *readStartedAt, std::move(identity)}};
}

SnapshotRead readMenuSnapshot(const std::optional<std::string_view>& data,
                              const std::optional<SnapshotIdentity>& expected,
                              const std::optional<Instant>& requestedAt, Instant now,
                              const std::function<bool(std::int32_t)>& isRunning) {
    if (!data) return SnapshotSkip::missing;
    auto snapshot = decodeMenuSnapshot(*data, now);
    if (!snapshot) return SnapshotSkip::unreadable;
    const SnapshotStamp& stamp = snapshot->stamp;
    if (!expected || stamp.identity != *expected) return SnapshotSkip::otherIdentity;
    if (now >= stamp.staleAfter) return SnapshotSkip::stale;
    if (!isRunning || !isRunning(stamp.pid)) return SnapshotSkip::stopped;
    if (requestedAt && *requestedAt > stamp.readStartedAt) return SnapshotSkip::refreshPending;
    return std::move(*snapshot);
}

bool payloadIsFresh(Instant lastSuccessAt, double refreshSeconds, Instant now) {
    double age = secondsBetween(lastSuccessAt, now);
    if (std::isnan(age) || std::isnan(refreshSeconds)) return false;
    return age <= 2.0 * refreshSeconds;
}

}  // namespace corvane
