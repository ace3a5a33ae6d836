#pragma once

// The decoded form of the CLI's `corvane menu` answer (the menu contract, version 1): every row
// the menu shows and every action a row can start. Plain values that compare field by field,
// nested items and actions included: the app compares whole payloads to decide whether an open
// menu must be rewritten.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "ClientDiagnostic.h"
#include "Instant.h"

namespace corvane {

using Arguments = std::vector<std::string>;

// Contract words equal the case names.
enum class StatusMark { ok, problem, warn, paused, muted };
enum class ConnectionMark { ok, warn, muted };
enum class MenuIcon { running, attention, paused };
enum class CliUpdatePhase { available, installing, failed, succeeded, upToDate };

std::string_view contractWord(StatusMark mark);
std::string_view contractWord(ConnectionMark mark);
std::string_view contractWord(MenuIcon icon);
std::string_view contractWord(CliUpdatePhase phase);
// An unknown word yields nothing; the decoder applies its own fallback.
std::optional<StatusMark> statusMarkFromWord(std::string_view word);
std::optional<ConnectionMark> connectionMarkFromWord(std::string_view word);
std::optional<MenuIcon> menuIconFromWord(std::string_view word);
std::optional<CliUpdatePhase> cliUpdatePhaseFromWord(std::string_view word);

// True exactly for `succeeded` and `upToDate`.
constexpr bool isDone(CliUpdatePhase phase) {
    return phase == CliUpdatePhase::succeeded || phase == CliUpdatePhase::upToDate;
}

// The CLI update block. Also kept in user defaults as JSON (keys are the field names).
struct CliUpdate {
    CliUpdatePhase phase = CliUpdatePhase::available;
    std::optional<std::string> target;
    std::string installedVersion;
    std::optional<std::string> detail;
    bool isBlocked = false;  // another command is running; false as decoded
    Arguments run;           // as decoded, always begins "update", "--background"
    std::string logPath;     // as decoded, always absolute
    bool operator==(const CliUpdate&) const = default;
};

struct BackgroundAction {
    Arguments argv;  // never empty when decoded
    std::string progress;
    std::string detail;
    bool operator==(const BackgroundAction&) const = default;
};

// What picking a row does. The decoder never produces cliUpdate, retryRun, cancelRun or dismissRun.
namespace verb {
struct CliUpdate {
    ::corvane::CliUpdate update;
    bool operator==(const CliUpdate&) const = default;
};
struct Background {
    BackgroundAction action;
    std::optional<Arguments> fallback;  // a Terminal command to offer when it fails
    bool operator==(const Background&) const = default;
};
struct Run {
    Arguments arguments;
    bool operator==(const Run&) const = default;
};
struct Terminal {
    Arguments arguments;
    bool operator==(const Terminal&) const = default;
};
struct Focus {
    std::string tty;
    std::int32_t appPid = 0;
    std::optional<Arguments> fallback;
    bool operator==(const Focus&) const = default;
};
struct Url {
    std::string url;
    bool operator==(const Url&) const = default;
};
struct File {
    std::string path;
    bool operator==(const File&) const = default;
};
struct Copy {
    std::string text;
    bool operator==(const Copy&) const = default;
};
struct RetryRun {
    bool operator==(const RetryRun&) const = default;
};
struct CancelRun {
    bool operator==(const CancelRun&) const = default;
};
struct DismissRun {
    bool operator==(const DismissRun&) const = default;
};
struct Diagnostics {
    bool operator==(const Diagnostics&) const = default;
};
}  // namespace verb

using MenuVerb = std::variant<verb::CliUpdate, verb::Background, verb::Run, verb::Terminal, verb::Focus, verb::Url,
                              verb::File, verb::Copy, verb::RetryRun, verb::CancelRun, verb::DismissRun,
                              verb::Diagnostics>;

// The case name of a verb ("cliUpdate", "background", "run", ...).
std::string_view verbName(const MenuVerb& verb);
// True for the verbs that start a CLI command (cliUpdate, background, run, terminal).
bool startsCliCommand(const MenuVerb& verb);

struct MenuAction {
    std::string title;
    MenuVerb verb;
    std::optional<Arguments> reportClick;  // CLI arguments run as a report when the row is picked
    std::optional<std::string> badge;      // only "paused" survives decoding
    bool isEnabled = true;                 // the only field that changes after decoding
    bool operator==(const MenuAction&) const = default;
};

struct AgentRow {
    std::string id;
    std::string icon;                       // harness word selecting the harness icon
    std::optional<std::string> status;      // machine word such as "working"
    std::optional<std::string> statusLabel; // worded status, already carrying the age
    std::optional<MenuAction> harness;      // opens the session in its harness app
    MenuAction corvane;                     // opens the session in Corvane
    bool operator==(const AgentRow&) const = default;
};

struct MenuItem;

namespace row {
struct CliUpdate {
    ::corvane::CliUpdate update;
    bool operator==(const CliUpdate&) const = default;
};
struct Header {
    std::string title;
    std::optional<std::string> subtitle;
    std::optional<std::string> trailing;
    bool operator==(const Header&) const = default;
};
struct Section {
    std::string title;
    bool operator==(const Section&) const = default;
};
struct Status {
    StatusMark mark = StatusMark::muted;
    std::string title;
    std::optional<std::string> subtitle;
    std::optional<MenuAction> dismiss;
    std::optional<MenuAction> action;
    bool operator==(const Status&) const = default;
};
struct Connection {
    ConnectionMark mark = ConnectionMark::muted;
    std::string name;
    std::string state;
    std::optional<MenuAction> dismiss;
    std::optional<MenuAction> action;
    bool operator==(const Connection&) const = default;
};
struct Submenu {
    std::string title;
    std::vector<MenuItem> items;
    bool operator==(const Submenu&) const;  // defined after MenuItem is complete
};
struct Action {
    MenuAction action;
    bool operator==(const Action&) const = default;
};
struct Agent {
    AgentRow agent;
    bool operator==(const Agent&) const = default;
};
struct Separator {
    bool operator==(const Separator&) const = default;
};
}  // namespace row

// One row of the menu. Cases in contract order.
struct MenuItem {
    using Value = std::variant<row::CliUpdate, row::Header, row::Section, row::Status, row::Connection, row::Submenu,
                               row::Action, row::Agent, row::Separator>;
    Value value;

    template <class T>
        requires(!std::is_same_v<std::remove_cvref_t<T>, MenuItem> && std::is_constructible_v<Value, T &&>)
    MenuItem(T&& row) : value(std::forward<T>(row)) {}

    template <class T>
    const T* as() const { return std::get_if<T>(&value); }
    template <class T>
    T* as() { return std::get_if<T>(&value); }
    template <class T>
    bool is() const { return std::holds_alternative<T>(value); }

    bool operator==(const MenuItem&) const = default;
};

inline bool row::Submenu::operator==(const Submenu& other) const {
    return title == other.title && items == other.items;
}

// The case name of a row ("cliUpdate", "header", "section", ...).
std::string_view rowKindName(const MenuItem& item);

// The CLI's timing report of its own refresh; logged unchanged with each refresh.
struct MenuApiRequest {
    std::string route;
    std::optional<std::int64_t> status;
    std::optional<std::string> requestId;
    std::int64_t durationMs = 0;
    bool operator==(const MenuApiRequest&) const = default;
};

struct CliRefreshReport {
    std::map<std::string, std::int64_t> stageMs;
    std::vector<MenuApiRequest> requests;
    bool operator==(const CliRefreshReport&) const = default;
};

// Where the CLI keeps its snapshot and the two request files.
struct SnapshotFiles {
    std::string snapshot;
    std::string refreshRequest;
    std::string openRequest;
    bool operator==(const SnapshotFiles&) const = default;
};

struct SnapshotEnrollment {
    std::string machineId;
    std::optional<std::string> orgId;
    bool operator==(const SnapshotEnrollment&) const = default;
};

// The identity a snapshot must carry to be drawn. Equal only when every field is.
struct SnapshotIdentity {
    std::string appEnv;
    std::string cliVersion;
    std::string apiUrl;
    std::string webUrl;
    std::optional<SnapshotEnrollment> enrollment;
    bool operator==(const SnapshotIdentity&) const = default;
};

struct MenuPayload {
    std::string appEnv;
    std::optional<ClientDiagnostic> desktopDiagnostic;
    std::optional<CliRefreshReport> refreshReport;
    std::string cliVersion;
    std::optional<MenuIcon> icon;  // absent when the contract's word is unknown
    double refreshSeconds = 60.0;
    std::vector<std::string> watchPaths;
    std::vector<MenuItem> items;
    std::vector<MenuItem> more;
    std::optional<Instant> cliUpToDateAt;
    std::optional<SnapshotFiles> snapshotFiles;
    std::optional<SnapshotIdentity> snapshotIdentity;
    bool operator==(const MenuPayload&) const = default;
};

}  // namespace corvane
