#include "MenuSnapshot.h"

#include <functional>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "MenuTime.h"

namespace corvane {
namespace {

using Json = nlohmann::json;

const Instant readStart = *parseMenuTime("2025-03-01T10:00:00.000Z");
const Instant written = *parseMenuTime("2025-03-01T10:00:01.500Z");
const Instant staleAt = *parseMenuTime("2025-03-01T10:02:00Z");
const Instant now = *parseMenuTime("2025-03-01T10:00:30Z");

Json snapshotFile() {
    return Json::parse(R"({"contract": 1, "appEnv": "staging", "cliVersion": "1.4.0", "icon": "running",
        "refreshSeconds": 30, "watchPaths": ["/tmp/state"], "items": [{"type": "header", "title": "Corvane"}], "more": [],
        "snapshot": {"version": 1, "bootId": "boot-7", "pid": 4242, "sequence": 3, "writtenAt": "2025-03-01T10:00:01.500Z",
                     "staleAfter": "2025-03-01T10:02:00Z", "readStartedAt": "2025-03-01T10:00:00Z",
                     "apiUrl": "https://api.corvane.dev", "webUrl": "https://corvane.dev", "enrollment": {"machineId": "m-1"}}})");
}

const SnapshotIdentity expectedIdentity{"staging", "1.4.0", "https://api.corvane.dev", "https://corvane.dev",
                                        SnapshotEnrollment{"m-1", std::nullopt}};

// Every way to the seven outcomes, in the order the rules are applied.
TEST(MenuSnapshot, ReadRules) {
    using Edit = std::function<void(Json&)>;
    const Edit none = [](Json&) {};
    struct Row {
        const char* name;
        Edit edit;
        std::optional<SnapshotSkip> skip;  // absent: drawn
        std::optional<SnapshotIdentity> expected = expectedIdentity;
        std::optional<Instant> requestedAt = std::nullopt;
        Instant at = now;
        bool running = true;
    };
    const auto U = SnapshotSkip::unreadable, O = SnapshotSkip::otherIdentity;
    const auto withOrg = [] {
        SnapshotIdentity identity = expectedIdentity;
        identity.enrollment->orgId = "org-1";
        return identity;
    }();
    const auto stamp = [](const char* key, Json value) -> Edit {
        return [=](Json& file) { file["snapshot"][key] = value; };
    };
    const auto top = [](const char* key, Json value) -> Edit { return [=](Json& file) { file[key] = value; }; };
    const auto dropStamp = [](const char* key) -> Edit { return [=](Json& file) { file["snapshot"].erase(key); }; };

    const Row rows[] = {
        {"draws", none, std::nullopt},
        {"stamp version 2", stamp("version", 2), U},
        {"sequence 0", stamp("sequence", 0), U},
        {"contract 2 is unreadable, not a mismatch", top("contract", 2), U},
        {"payload damaged", top("items", 5), U},
        {"no stamp", [](Json& f) { f.erase("snapshot"); }, U},
        {"pid beyond 32 bits", stamp("pid", 4'294'967'296LL), U},
        {"unparsable written time", stamp("writtenAt", "yesterday"), U},
        {"no read start", dropStamp("readStartedAt"), U},
        {"no web URL", dropStamp("webUrl"), U},
        {"enrollment without machine", stamp("enrollment", Json{{"orgId", "o"}}), U},
        {"nothing expected", none, O, std::nullopt},
        {"org id only in the file", stamp("enrollment", Json{{"machineId", "m-1"}, {"orgId", "org-1"}}), O},
        {"org id only expected", none, O, withOrg},
        {"no enrollment in the file", dropStamp("enrollment"), O},
        {"another environment, and stale too", top("appEnv", "production"), O, expectedIdentity, {}, staleAt, false},
        {"stale exactly at staleAfter", none, SnapshotSkip::stale, expectedIdentity, {}, staleAt},
        {"stale and stopped", none, SnapshotSkip::stale, expectedIdentity, {}, plusSeconds(staleAt, 1), false},
        {"fresh just before staleAfter", none, std::nullopt, expectedIdentity, {}, plusSeconds(staleAt, -0.001)},
        {"writer stopped", none, SnapshotSkip::stopped, expectedIdentity, plusSeconds(readStart, 1), now, false},
        {"refresh asked 1 ms after the read began", none, SnapshotSkip::refreshPending, expectedIdentity,
         plusSeconds(readStart, 0.001)},
        {"refresh asked as the read began", none, std::nullopt, expectedIdentity, readStart},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Json file = snapshotFile();
        row.edit(file);
        std::string bytes = file.dump();
        std::int32_t askedPid = 0;
        SnapshotRead read = readMenuSnapshot(bytes, row.expected, row.requestedAt, row.at, [&](std::int32_t pid) {
            askedPid = pid;
            return row.running;
        });
        if (row.skip) {
            ASSERT_TRUE(std::holds_alternative<SnapshotSkip>(read));
            EXPECT_EQ(std::get<SnapshotSkip>(read), *row.skip) << wireWord(std::get<SnapshotSkip>(read));
        } else {
            ASSERT_TRUE(std::holds_alternative<MenuSnapshot>(read));
            EXPECT_EQ(askedPid, 4242);
            const auto& drawn = std::get<MenuSnapshot>(read);
            EXPECT_EQ(drawn.stamp, (SnapshotStamp{"boot-7", 4242, 3, written, staleAt, readStart, expectedIdentity}));
            EXPECT_EQ(drawn.payload.refreshSeconds, 30);
            EXPECT_EQ(drawn.payload.items.size(), 1u);
        }
    }
    EXPECT_EQ(std::get<SnapshotSkip>(readMenuSnapshot(std::nullopt, expectedIdentity, {}, now, nullptr)),
              SnapshotSkip::missing);
    for (const char* bytes : {"", "not json", "[]", "{\"snapshot\":{}}"})
        EXPECT_EQ(std::get<SnapshotSkip>(readMenuSnapshot(std::string_view(bytes), expectedIdentity, {}, now, nullptr)),
                  SnapshotSkip::unreadable)
            << bytes;
}

}  // namespace
}  // namespace corvane
