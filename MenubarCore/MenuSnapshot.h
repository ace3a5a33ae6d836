#pragma once

// The snapshot the CLI keeps for fast drawing: a complete menu answer plus a stamp saying who
// wrote it, when, and until when it may be drawn. Reading the file, deciding when to try and
// writing requests belong to the poll cycle; this is only the pure decision whether a snapshot
// may be drawn, or why not.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "Instant.h"
#include "MenuModel.h"

namespace corvane {

struct SnapshotStamp {
    std::string bootId;      // the writer's run
    std::int32_t pid = 0;    // the writer's process
    std::int64_t sequence = 1;  // counts snapshots within one run, from 1
    Instant writtenAt;
    Instant staleAfter;      // at or after this the snapshot may not be drawn
    Instant readStartedAt;   // when the writer began gathering what it wrote
    SnapshotIdentity identity;
    bool operator==(const SnapshotStamp&) const = default;
};

struct MenuSnapshot {
    MenuPayload payload;
    SnapshotStamp stamp;
    bool operator==(const MenuSnapshot&) const = default;
};

// Why a snapshot was not drawn. Cases in log order; `cliChanged` is decided by the poll cycle.
enum class SnapshotSkip { missing, unreadable, otherIdentity, stale, stopped, refreshPending, cliChanged };

// "missing", "unreadable", "other-identity", "stale", "stopped", "refresh-pending", "cli-changed".
std::string_view wireWord(SnapshotSkip skip);

using SnapshotRead = std::variant<MenuSnapshot, SnapshotSkip>;  // draw or skip

// The file's bytes to a snapshot: the menu answer must decode as a payload of this contract and
// carry a "snapshot" object with version 1, a sequence of at least 1 and three parsable times.
// Anything else gives nothing.
std::optional<MenuSnapshot> decodeMenuSnapshot(std::string_view data, Instant now);

// Whether the snapshot may be drawn; the first rule that applies wins: no data → missing; not
// decodable → unreadable; no expected identity or another one → otherIdentity; now at or after
// staleAfter → stale; writer not running → stopped; a refresh requested after the writer began
// reading → refreshPending (one requested exactly then does not hold it back); else draw.
SnapshotRead readMenuSnapshot(const std::optional<std::string_view>& data,
                              const std::optional<SnapshotIdentity>& expected,
                              const std::optional<Instant>& requestedAt, Instant now,
                              const std::function<bool(std::int32_t)>& isRunning);

// True when the last success is at most twice the refresh interval old; false for NaN inputs.
bool payloadIsFresh(Instant lastSuccessAt, double refreshSeconds, Instant now);

}  // namespace corvane
