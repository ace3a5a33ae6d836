#include "CliUpdatePresentation.h"

#include <tuple>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace corvane {
namespace {

using Phase = CliUpdatePhase;

const Instant t0 = instantFromSeconds(1'750'000'000.25);
const std::string oldPath = "/usr/local/bin/corvane";

CliUpdate makeUpdate(Phase phase, std::optional<std::string> target = "1.4.0", bool blocked = false,
                     std::optional<std::string> detail = std::nullopt) {
    return CliUpdate{phase, std::move(target), "1.3.0", std::move(detail), blocked, {"update", "--background"},
                     "/tmp/corvane/update.log"};
}

TEST(CliUpdateTexts, ByPhaseAndBlocking) {
    using Texts = std::tuple<std::string, std::optional<std::string>, std::string, bool>;  // title, subtitle, button, canStart
    const std::pair<CliUpdate, Texts> rows[] = {
        {makeUpdate(Phase::available), {"Corvane CLI 1.4.0 is available. Update?", "You have 1.3.0.", "Update Corvane CLI to 1.4.0", true}},
        {makeUpdate(Phase::available, "1.4.0", true),
         {"Corvane CLI 1.4.0 is available.", "Another command is running.", "Another command is running", false}},
        {makeUpdate(Phase::available, std::nullopt), {"A Corvane CLI update is available. Update?", "You have 1.3.0.", "Update Corvane CLI", true}},
        {makeUpdate(Phase::installing), {"Corvane CLI 1.4.0 is available.", "Updating CLI\u2026", "Update Corvane CLI to 1.4.0", false}},
        {makeUpdate(Phase::failed), {"CLI update failed. Retry?", "You have 1.3.0.", "Retry update", true}},
        {makeUpdate(Phase::failed, "1.4.0", true, "npm exited 1"), {"CLI update failed.", "npm exited 1", "Another command is running", false}},
        {makeUpdate(Phase::succeeded), {"Corvane CLI updated to 1.3.0", std::nullopt, "Update Corvane CLI to 1.4.0", false}},
        {makeUpdate(Phase::upToDate, std::nullopt), {"Corvane CLI is up to date", "You have 1.3.0.", "Update Corvane CLI", false}},
    };
    for (const auto& [update, texts] : rows) {
        const Texts got{cliUpdateTitle(update), cliUpdateSubtitle(update), cliUpdateAction(update).title, cliUpdateCanStart(update)};
        EXPECT_EQ(got, texts);
    }
}

TEST(CliUpdateNewer, ComparesThreeNumericParts) {
    struct Row { const char* version; const char* than; bool expected; };
    const Row rows[] = {
        {"1.10.0", "1.9.9", true},   {"1.9.9", "1.10.0", false},  {"1.2.3", "1.2.3", false},
        {"01.2.3", "1.2.2", true},   {"1.2", "1.1.0", false},     {"1.2.3.4", "1.2.3", false},
        {"1.3.0", "1.2", false},     {"1.3.0-beta", "1.2.0", false}, {"1..3", "1.0.0", false},
        {"99999999999999999999999.0.0", "9999999999999999999999.0.0", true}, {"1.2.3.", "1.2.2", false},
    };
    for (const auto& row : rows) EXPECT_EQ(newer(row.version, row.than), row.expected) << row.version << " > " << row.than;
}

std::vector<MenuItem> rowsWithUpdateAt(std::size_t position, const CliUpdate& update) {
    std::vector<MenuItem> items{row::Header{"Corvane", std::nullopt, std::nullopt}, row::Separator{}, row::Section{"A"}};
    items.insert(items.begin() + static_cast<std::ptrdiff_t>(position), row::CliUpdate{update});
    return items;
}

CliUpdatePresentation started(const std::string& path = oldPath) {
    CliUpdatePresentation presentation;
    presentation.start(makeUpdate(Phase::available, "1.4.0", false, "Fixes login."),
                       rowsWithUpdateAt(1, makeUpdate(Phase::available)), path, t0);
    return presentation;
}

MenuPayload payload(std::string version, std::optional<CliUpdate> row = std::nullopt,
                    std::optional<Instant> upToDateAt = std::nullopt) {
    MenuPayload p;
    p.cliVersion = std::move(version);
    if (row) p.items.push_back(row::CliUpdate{*row});
    p.cliUpToDateAt = upToDateAt;
    return p;
}

TEST(CliUpdatePresentation, StartRemembersAnInstallation) {
    EXPECT_EQ(started(), (CliUpdatePresentation{makeUpdate(Phase::installing), 1, t0, "1.3.0", oldPath, false}));
    CliUpdatePresentation noRow;
    noRow.start(makeUpdate(Phase::failed), {row::Separator{}}, "", t0);
    EXPECT_EQ(noRow.index, 0u);
}

// Every row of the decision table documented on `observe`, plus the phases it leaves alone.
TEST(CliUpdatePresentation, ObserveDecisionTable) {
    const std::string newPath = "/opt/corvane/bin/corvane";
    const Instant later = plusSeconds(t0, 30);
    const CliUpdate offered = makeUpdate(Phase::available);
    const CliUpdate rowFailed = makeUpdate(Phase::failed, "1.4.0", false, "npm ERR! code EACCES");
    struct Row {
        const char* name;
        Phase remembered;
        MenuPayload payload;
        std::string path;
        bool allowFailure;
        Phase expected;
        std::string installedVersion;
        std::optional<std::string> detail;
    };
    const Phase inst = Phase::installing, failed = Phase::failed, done = Phase::succeeded, current = Phase::upToDate;
    const Row rows[] = {
        // 1: a newer version answers.
        {"newer version after a failure", failed, payload("1.4.0"), oldPath, false, done, "1.4.0", {}},
        {"newer version beats a failed row", inst, payload("1.4.0", rowFailed), oldPath, true, done, "1.4.0", {}},
        // 2: another CLI offers nothing (an older one is no success).
        {"moved, older version, no row", inst, payload("1.2.2"), newPath, false, current, "1.2.2", {}},
        // 3: the CLI confirms it is up to date after the start.
        {"confirmed up to date", inst, payload("1.3.0", {}, later), oldPath, false, current, "1.3.0", {}},
        {"confirmation at the start", inst, payload("1.3.0", {}, t0), oldPath, true, inst, "1.3.0", {}},
        // 4: the CLI's own block failed.
        {"row failed", inst, payload("1.3.0", rowFailed), oldPath, true, failed, "1.3.0", "npm ERR! code EACCES"},
        {"row failed, failure not allowed", inst, payload("1.3.0", rowFailed), oldPath, false, inst, "1.3.0", {}},
        // 5: nothing conclusive.
        {"older version", inst, payload("1.2.0", offered), oldPath, true, inst, "1.3.0", {}},
        {"unknown path now", inst, payload("1.3.0"), "", true, inst, "1.3.0", {}},
        {"moved, older version, still offered", inst, payload("1.2.2", offered), newPath, true, inst, "1.3.0", {}},
        {"failure stays failed", failed, payload("1.3.0", rowFailed), oldPath, true, failed, "1.3.0", "earlier"},
        {"succeeded stays", done, payload("1.5.0", {}, later), newPath, true, done, "1.3.0", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        CliUpdatePresentation presentation = started();
        presentation.update->phase = row.remembered;
        if (row.remembered == Phase::failed) presentation.update->detail = "earlier";
        CliUpdatePresentation expected = presentation;  // only the update changes; the memory of the start stays
        expected.update->phase = row.expected;
        expected.update->installedVersion = row.installedVersion;
        expected.update->detail = row.detail;
        presentation.observe(row.payload, row.path, plusSeconds(t0, 60), row.allowFailure);
        EXPECT_EQ(presentation, expected);
    }
    CliUpdatePresentation empty;
    empty.observe(payload("9.9.9", std::nullopt, later), newPath, later, true);
    EXPECT_EQ(empty, CliUpdatePresentation{});
}

TEST(CliUpdatePresentation, ExpiresOnlyAfterMoreThan900Seconds) {
    for (const auto& [seconds, expected] : {std::pair{900.0, Phase::installing}, std::pair{900.000001, Phase::failed}}) {
        CliUpdatePresentation viaExpire = started();
        viaExpire.expire(plusSeconds(t0, seconds));
        EXPECT_EQ(viaExpire.update->phase, expected) << seconds;
        // observe always ends in expire, even when the payload confirms nothing.
        CliUpdatePresentation viaObserve = started();
        viaObserve.observe(payload("1.3.0", makeUpdate(Phase::available)), oldPath, plusSeconds(t0, seconds), false);
        EXPECT_EQ(viaObserve, viaExpire) << seconds;
        EXPECT_EQ(viaExpire.update->detail.value_or(""), expected == Phase::failed ? cliUpdateNotConfirmedText : "");
    }
    // A confirmation seen in the same poll wins over the expiry.
    CliUpdatePresentation confirmed = started();
    confirmed.observe(payload("1.4.0"), oldPath, plusSeconds(t0, 5000), false);
    EXPECT_EQ(confirmed.update->phase, Phase::succeeded);

    // The launcher's failure ends only an installation.
    CliUpdatePresentation presentation = started();
    presentation.launcherFailed("corvane update exited 1");
    EXPECT_EQ(presentation.update, makeUpdate(Phase::failed, "1.4.0", false, "corvane update exited 1"));
    presentation.update->phase = Phase::succeeded;
    presentation.launcherFailed("late");
    EXPECT_EQ(presentation.update->phase, Phase::succeeded);
}

TEST(CliUpdatePresentation, PresentingReplacesOrReinserts) {
    CliUpdatePresentation presentation = started();
    const CliUpdate remembered = *presentation.update;
    // The payload's own row is replaced where it stands; without one the remembered row returns at
    // its old position, or at the end when that lies beyond the rows.
    auto withRow = rowsWithUpdateAt(3, makeUpdate(Phase::available));
    const std::vector<MenuItem> plain(withRow.begin(), withRow.begin() + 3);
    EXPECT_EQ(presentation.presenting(withRow), rowsWithUpdateAt(3, remembered));
    EXPECT_EQ(presentation.presenting(plain), rowsWithUpdateAt(1, remembered));
    presentation.index = 7;
    EXPECT_EQ(presentation.presenting(plain), rowsWithUpdateAt(3, remembered));
    EXPECT_EQ(CliUpdatePresentation{}.presenting(withRow), withRow);
}

TEST(CliUpdatePresentation, ShownResultIsForgottenOnClose) {
    // An installation outlives the menu, a failure stays until retried, a finished result goes once
    // a menu has shown it.
    for (Phase phase : {Phase::installing, Phase::failed, Phase::succeeded, Phase::upToDate}) {
        CliUpdatePresentation presentation = started();
        presentation.update->phase = phase;
        presentation.didCloseMenu();
        EXPECT_TRUE(presentation.update);
        presentation.didShowMenu();
        presentation.didCloseMenu();
        EXPECT_EQ(presentation.update.has_value(), phase == Phase::installing || phase == Phase::failed);
    }
}

TEST(CliUpdatePresentation, JsonRoundTripAndRejects) {
    CliUpdatePresentation full = started("/usr/local/bin/corvane \"quoted\"/x");
    full.update->detail = "caf\u00e9 \u2026";
    full.startedAt = Instant(std::chrono::microseconds(1'750'000'000'123'457));
    full.successWasShown = true;
    for (const CliUpdatePresentation& value : {full, CliUpdatePresentation{}, started("")})
        EXPECT_EQ(decodeCliUpdatePresentation(encodeCliUpdatePresentation(value)), value);
    // The stored keys are the field names: a rename would lose every stored update.
    EXPECT_EQ(toJson(full)["update"]["phase"], "installing");
    EXPECT_EQ(toJson(full)["successWasShown"], true);
    for (const char* text : {"", "[]", R"({"index":-1})", R"({"startedAt":"yesterday"})", R"({"startedAt":1e300})",
                             R"({"update":{"phase":"done","installedVersion":"1","run":[],"logPath":"/l"}})",
                             R"({"update":{"phase":"failed","installedVersion":"1","run":[1],"logPath":"/l"}})",
                             R"({"update":{"phase":"failed","run":[],"logPath":"/l"}})", R"({"update":7})"})
        EXPECT_FALSE(decodeCliUpdatePresentation(text)) << text;
}

}  // namespace
}  // namespace corvane
