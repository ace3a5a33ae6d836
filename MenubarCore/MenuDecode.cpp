#include "MenuDecode.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include <nlohmann/json.hpp>

#include "MenuTime.h"
#include "Patterns.h"
#include "UntrustedInput.h"

namespace corvane {
namespace {

using Json = nlohmann::json;

// Where a value sits in the answer, rendered only when a failure needs to name it.
struct Path {
    const Path* parent = nullptr;
    std::string_view key;  // empty: an array element
    std::size_t index = 0;

    Path child(std::string_view name) const { return Path{this, name, 0}; }
    Path element(std::size_t at) const { return Path{this, {}, at}; }

    std::string text() const {
        std::string head = parent ? parent->text() : std::string();
        if (!parent) return std::string(key);
        if (key.empty()) return head + '[' + std::to_string(index) + ']';
        return head.empty() ? std::string(key) : head + '.' + std::string(key);
    }
};

std::string_view typeWord(const Json& value) {
    switch (value.type()) {
        case Json::value_t::null: return "null";
        case Json::value_t::object: return "an object";
        case Json::value_t::array: return "an array";
        case Json::value_t::string: return "a string";
        case Json::value_t::boolean: return "a boolean";
        case Json::value_t::binary: return "binary data";
        case Json::value_t::discarded: return "nothing";
        default: return "a number";
    }
}

// The first failure met while reading; later ones are not looked for.
struct Failure {
    std::string message;
    void set(const Path& at, std::string_view expected, const Json* found) {
        std::string where = at.text();
        message = (where.empty() ? std::string("answer") : where) + ": ";
        if (!found) {
            message += "missing";
            return;
        }
        message += "expected ";
        message += expected;
        message += ", found ";
        message += typeWord(*found);
    }
};

// JSON numbers that are whole and fit 64 bits; "1.0" counts, "1.5" and "1e30" do not.
std::optional<std::int64_t> wholeNumber(const Json& value) {
    switch (value.type()) {
        case Json::value_t::number_integer: return value.get<std::int64_t>();
        case Json::value_t::number_unsigned: {
            auto n = value.get<std::uint64_t>();
            if (n > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return std::nullopt;
            return static_cast<std::int64_t>(n);
        }
        case Json::value_t::number_float: {
            double d = value.get<double>();
            // 2^63 is exactly representable; everything below it in magnitude converts safely.
            if (!std::isfinite(d) || std::floor(d) != d || d < -9223372036854775808.0 || d >= 9223372036854775808.0)
                return std::nullopt;
            return static_cast<std::int64_t>(d);
        }
        default: return std::nullopt;
    }
}

const std::string* stringOrNull(const Json* value) {
    return value && value->is_string() ? &value->get_ref<const std::string&>() : nullptr;
}

std::optional<std::string> optionalString(const Json* value) {
    if (auto* s = stringOrNull(value)) return *s;
    return std::nullopt;
}

// An array whose elements are all strings without a NUL; anything else gives nothing. (A NUL
// would silently cut an argument short where it reaches the system.)
std::optional<Arguments> stringList(const Json* value) {
    if (!value || !value->is_array()) return std::nullopt;
    Arguments list;
    list.reserve(value->size());
    for (const Json& element : *value) {
        if (!element.is_string() || holdsNul(element.get_ref<const std::string&>())) return std::nullopt;
        list.push_back(element.get_ref<const std::string&>());
    }
    return list;
}

// "1234567" → "1,234,567".
std::string groupedCount(std::size_t count) {
    std::string digits = std::to_string(count);
    for (auto at = digits.size(); at > 3; at -= 3) digits.insert(at - 3, 1, ',');
    return digits;
}

// The row that stands for the rows of one list left out past `maxMenuRows`.
MenuItem leftOutRow(std::size_t count) {
    return row::Status{StatusMark::muted, groupedCount(count) + (count == 1 ? " more row" : " more rows") + " not shown",
                       "A menu shows at most " + groupedCount(maxMenuRows) + " rows.", std::nullopt, std::nullopt};
}

const Json* member(const Json& object, std::string_view key) {
    auto it = object.find(key);
    return it == object.end() || it->is_null() ? nullptr : &*it;
}

// ---- Item objects ----------------------------------------------------------------------------

// The keys of one item object, found in a single pass over its members. A present value has
// already passed its JSON type check (strict keys) or is left for the lenient readers.
struct RawItem {
    const std::string* type = nullptr;
    const std::string* title = nullptr;
    const std::string* subtitle = nullptr;
    const std::string* trailing = nullptr;
    const std::string* mark = nullptr;
    const std::string* name = nullptr;
    const std::string* state = nullptr;
    const std::string* checkedAt = nullptr;
    const Json* items = nullptr;
    const Json* run = nullptr;
    const Json* terminal = nullptr;
    const std::string* url = nullptr;
    const std::string* file = nullptr;
    const std::string* copy = nullptr;
    const bool* diagnostics = nullptr;
    const std::string* badge = nullptr;
    // Lenient: a value of the wrong shape counts as absent.
    const Json* agent = nullptr;
    const Json* focus = nullptr;
    const Json* background = nullptr;
    const Json* dismiss = nullptr;
    const Json* presentation = nullptr;
    const Json* reportClick = nullptr;
};

// One decoded item object: its row (if it shows one) and, for an action with a title, the row its
// presentation maps to (used by the dedupe of plain rows sent for older apps).
struct MappedItem {
    std::optional<MenuItem> row;
    std::optional<MenuItem> presentationRow;
    bool isTitledAction = false;
};

class Decoder {
public:
    Decoder(Instant now, Failure& failure) : now_(now), failure_(failure) {}

    // Maps a list of item objects (strict: a non-object element or a wrongly typed key fails).
    bool menuItems(const Json& list, const Path& at, int depth, std::vector<MenuItem>& out) {
        if (depth > maxMenuDepth) return true;  // rows this deep are not shown (see maxMenuDepth)
        std::vector<MappedItem> mapped;
        std::size_t leftOut = 0;
        if (!mapAll(list, 0, list.size(), at, depth, mapped, leftOut)) return false;
        appendDeduped(mapped, 0, mapped.size(), out);
        if (leftOut > 0) out.push_back(leftOutRow(leftOut));
        return true;
    }

    // Maps the item objects of `list[begin, end)` into `out` until the answer's row budget is
    // spent; the item objects after that are not read, only counted in `leftOut`.
    bool mapAll(const Json& list, std::size_t begin, std::size_t end, const Path& at, int depth,
                std::vector<MappedItem>& out, std::size_t& leftOut) {
        out.reserve(out.size() + std::min(end - begin, rowsLeft_));
        for (std::size_t i = begin; i < end; ++i) {
            if (rowsLeft_ == 0) {
                leftOut += end - i;
                break;
            }
            Path here = at.element(i);
            MappedItem item;
            if (!menuItem(list[i], here, depth, item)) return false;
            if (item.row && rowsLeft_ > 0) --rowsLeft_;
            out.push_back(std::move(item));
        }
        return true;
    }

    // Moves the rows of `mapped[begin, end)` into `out`. A row is left out when the next item object
    // is a titled action whose presentation maps to the same row: the CLI sends both, and only the
    // latter (which carries the action) is shown.
    static void appendDeduped(std::vector<MappedItem>& mapped, std::size_t begin, std::size_t end,
                              std::vector<MenuItem>& out) {
        for (std::size_t i = begin; i < end; ++i) {
            if (!mapped[i].row) continue;
            if (i + 1 < end && mapped[i + 1].isTitledAction && mapped[i + 1].presentationRow &&
                *mapped[i + 1].presentationRow == *mapped[i].row)
                continue;
            out.push_back(std::move(*mapped[i].row));
        }
    }

    // Reads one item object and, strictly, the item objects nested under its "items" (whatever its
    // type). False only for a failure that fails the whole answer.
    bool menuItem(const Json& value, const Path& at, int depth, MappedItem& out) {
        if (depth > maxMenuDepth) return true;
        RawItem raw;
        std::vector<MenuItem> children;
        if (!readTree(value, at, depth, raw, children)) return false;
        mapItem(raw, std::move(children), depth, out);
        return true;
    }

    // The action an item object describes (title, verb, click report, badge), used for "dismiss"
    // and an agent's "harness": absent when the item is damaged, has no title or no verb.
    std::optional<MenuAction> lenientAction(const Json* value, int depth) {
        if (!value || depth > maxMenuDepth) return std::nullopt;
        RawItem raw;
        std::vector<MenuItem> children;
        Failure scratch;
        Decoder lenient(now_, scratch);
        if (!lenient.readTree(*value, Path{}, depth, raw, children)) return std::nullopt;
        return itemAction(raw);
    }

private:
    bool readTree(const Json& value, const Path& at, int depth, RawItem& raw, std::vector<MenuItem>& children) {
        if (!readItem(value, at, raw)) return false;
        if (raw.items) {
            Path here = at.child("items");
            if (!menuItems(*raw.items, here, depth + 1, children)) return false;
        }
        return true;
    }

    bool fail(const Path& at, std::string_view expected, const Json* found) {
        failure_.set(at, expected, found);
        return false;
    }

    bool readString(const Json& value, const Path& at, std::string_view key, const std::string*& out) {
        if (value.is_null()) return true;
        if (!value.is_string()) return fail(at.child(key), "a string", &value);
        out = &value.get_ref<const std::string&>();
        return true;
    }

    bool readStringList(const Json& value, const Path& at, std::string_view key, const Json*& out) {
        if (value.is_null()) return true;
        Path here = at.child(key);
        if (!value.is_array()) return fail(here, "an array of strings", &value);
        for (std::size_t i = 0; i < value.size(); ++i)
            if (!value[i].is_string()) return fail(here.element(i), "a string", &value[i]);
        out = &value;
        return true;
    }

    bool readItem(const Json& value, const Path& at, RawItem& raw) {
        if (!value.is_object()) return fail(at, "an object", &value);
        for (auto it = value.begin(); it != value.end(); ++it) {
            const std::string& key = it.key();
            const Json& v = it.value();
            bool ok = true;
            if (key == "type") ok = readString(v, at, key, raw.type);
            else if (key == "title") ok = readString(v, at, key, raw.title);
            else if (key == "subtitle") ok = readString(v, at, key, raw.subtitle);
            else if (key == "trailing") ok = readString(v, at, key, raw.trailing);
            else if (key == "mark") ok = readString(v, at, key, raw.mark);
            else if (key == "name") ok = readString(v, at, key, raw.name);
            else if (key == "state") ok = readString(v, at, key, raw.state);
            else if (key == "checkedAt") ok = readString(v, at, key, raw.checkedAt);
            else if (key == "url") ok = readString(v, at, key, raw.url);
            else if (key == "file") ok = readString(v, at, key, raw.file);
            else if (key == "copy") ok = readString(v, at, key, raw.copy);
            else if (key == "badge") ok = readString(v, at, key, raw.badge);
            else if (key == "run") ok = readStringList(v, at, key, raw.run);
            else if (key == "terminal") ok = readStringList(v, at, key, raw.terminal);
            else if (key == "diagnostics") {
                if (v.is_boolean()) raw.diagnostics = &v.get_ref<const bool&>();
                else if (!v.is_null()) ok = fail(at.child(key), "a boolean", &v);
            } else if (key == "items") {
                if (v.is_array()) raw.items = &v;
                else if (!v.is_null()) ok = fail(at.child(key), "an array of items", &v);
            } else if (!v.is_null()) {
                if (key == "agent") raw.agent = &v;
                else if (key == "focus") raw.focus = &v;
                else if (key == "background") raw.background = &v;
                else if (key == "dismiss") raw.dismiss = &v;
                else if (key == "presentation") raw.presentation = &v;
                else if (key == "reportClick") raw.reportClick = &v;
            }
            if (!ok) return false;
        }
        return true;
    }

    static std::optional<MenuVerb> menuVerb(const RawItem& raw) {
        std::optional<Arguments> fallback;
        if (raw.terminal) fallback = stringList(raw.terminal);
        if (raw.focus && raw.focus->is_object()) {
            const std::string* tty = stringOrNull(member(*raw.focus, "tty"));
            const Json* pid = member(*raw.focus, "appPid");
            std::optional<std::int64_t> appPid = pid ? wholeNumber(*pid) : std::nullopt;
            if (tty && isTtyName(*tty) && appPid && *appPid >= 1 &&
                *appPid <= std::numeric_limits<std::int32_t>::max())
                return verb::Focus{*tty, static_cast<std::int32_t>(*appPid), fallback};
        }
        if (raw.background && raw.background->is_object()) {
            auto argv = stringList(member(*raw.background, "argv"));
            const std::string* progress = stringOrNull(member(*raw.background, "progress"));
            const std::string* detail = stringOrNull(member(*raw.background, "detail"));
            if (argv && !argv->empty() && progress && detail)
                return verb::Background{BackgroundAction{std::move(*argv), *progress, *detail}, fallback};
        }
        // A verb whose text the app would not hand on as it is (a NUL in an argument, a URL or
        // path the opener must not get) counts as absent, and the search goes on.
        if (auto arguments = stringList(raw.run)) return verb::Run{std::move(*arguments)};
        if (fallback) return verb::Terminal{std::move(*fallback)};
        if (raw.url && isOpenableUrl(*raw.url)) return verb::Url{*raw.url};
        if (raw.file && isOpenablePath(*raw.file)) return verb::File{*raw.file};
        if (raw.copy && !holdsNul(*raw.copy) && raw.copy->size() <= copyTextLimit)
            return verb::Copy{clipboardSafeText(*raw.copy)};
        if (raw.diagnostics && *raw.diagnostics) return verb::Diagnostics{};
        return std::nullopt;
    }

    static std::optional<Arguments> clickReport(const Json* value) {
        auto words = stringList(value);
        if (!words || (words->size() != 3 && words->size() != 5) || (*words)[0] != "report-agent-click")
            return std::nullopt;
        return words;
    }

    static std::optional<MenuAction> itemAction(const RawItem& raw) {
        if (!raw.title) return std::nullopt;
        auto verb = menuVerb(raw);
        if (!verb) return std::nullopt;
        std::optional<std::string> badge;
        if (raw.badge && *raw.badge == "paused") badge = *raw.badge;
        return MenuAction{*raw.title, std::move(*verb), clickReport(raw.reportClick), std::move(badge), true};
    }

    std::optional<MenuItem> presentationRow(const RawItem& raw, int depth) {
        if (!raw.presentation || depth + 1 > maxMenuDepth) return std::nullopt;
        MappedItem inner;
        Failure scratch;
        Decoder lenient(now_, scratch);
        if (!lenient.menuItem(*raw.presentation, Path{}, depth + 1, inner)) return std::nullopt;
        return std::move(inner.row);
    }

    void mapItem(const RawItem& raw, std::vector<MenuItem>&& children, int depth, MappedItem& out) {
        if (!raw.type) return;
        const std::string& type = *raw.type;
        if (type == "action") {
            out.isTitledAction = raw.title != nullptr;
            if (out.isTitledAction) out.presentationRow = presentationRow(raw, depth);
            auto action = itemAction(raw);
            if (!action) return;
            const Json* agent = raw.agent && raw.agent->is_object() ? raw.agent : nullptr;
            if (agent) {
                if (auto* lastActivity = stringOrNull(member(*agent, "lastActivityAt")))
                    if (auto at = parseMenuTime(*lastActivity))
                        action->title = wordedAge(action->title, " · ", menuAge(secondsBetween(*at, now_)));
            }
            if (out.presentationRow) {
                if (auto* status = out.presentationRow->as<row::Status>()) {
                    row::Status shown = *status;
                    shown.action = std::move(*action);
                    out.row = MenuItem(std::move(shown));
                    return;
                }
                if (auto* connection = out.presentationRow->as<row::Connection>()) {
                    row::Connection shown = *connection;
                    shown.action = std::move(*action);
                    out.row = MenuItem(std::move(shown));
                    return;
                }
            }
            if (agent) {
                const std::string* id = stringOrNull(member(*agent, "id"));
                const std::string* icon = stringOrNull(member(*agent, "icon"));
                if (id && icon) {
                    AgentRow row{*id,
                                 *icon,
                                 optionalString(member(*agent, "status")),
                                 optionalString(member(*agent, "statusLabel")),
                                 lenientAction(member(*agent, "harness"), depth + 1),
                                 std::move(*action)};
                    out.row = MenuItem(row::Agent{std::move(row)});
                    return;
                }
            }
            out.row = MenuItem(row::Action{std::move(*action)});
            return;
        }
        if (type == "header") {
            if (raw.title) out.row = MenuItem(row::Header{*raw.title, opt(raw.subtitle), opt(raw.trailing)});
        } else if (type == "separator") {
            out.row = MenuItem(row::Separator{});
        } else if (type == "section") {
            if (raw.title) out.row = MenuItem(row::Section{*raw.title});
        } else if (type == "status") {
            if (!raw.title) return;
            StatusMark mark = raw.mark ? statusMarkFromWord(*raw.mark).value_or(StatusMark::muted) : StatusMark::muted;
            out.row = MenuItem(row::Status{mark, *raw.title, opt(raw.subtitle),
                                           lenientAction(raw.dismiss, depth + 1), std::nullopt});
        } else if (type == "connection") {
            if (!raw.name || !raw.state) return;
            ConnectionMark mark =
                raw.mark ? connectionMarkFromWord(*raw.mark).value_or(ConnectionMark::muted) : ConnectionMark::muted;
            std::string state = *raw.state;
            if (raw.checkedAt)
                if (auto at = parseMenuTime(*raw.checkedAt))
                    state = wordedAge(state, ", ", "checked " + menuAge(secondsBetween(*at, now_)));
            out.row = MenuItem(
                row::Connection{mark, *raw.name, std::move(state), lenientAction(raw.dismiss, depth + 1), std::nullopt});
        } else if (type == "submenu") {
            if (!raw.title || !raw.items) return;
            out.row = MenuItem(row::Submenu{*raw.title, std::move(children)});
        }
    }

    static std::optional<std::string> opt(const std::string* s) {
        return s ? std::optional<std::string>(*s) : std::nullopt;
    }

    Instant now_;
    Failure& failure_;
    // Rows the answer may still add (shared by its main and "more" rows and every submenu).
    std::size_t rowsLeft_ = maxMenuRows;
};

// ---- Lenient top-level blocks ----------------------------------------------------------------

struct UpdateBlock {
    std::int64_t startIndex = 0;
    std::int64_t itemCount = 0;
    CliUpdatePhase state = CliUpdatePhase::available;
    std::optional<std::string> target;
    std::optional<std::string> detail;
    Arguments run;
    std::string logPath;
};

// Optional text members must be text when present; `ok` turns false otherwise.
std::optional<std::string> optionalText(const Json& object, std::string_view key, bool& ok) {
    const Json* value = member(object, key);
    if (!value) return std::nullopt;
    if (!value->is_string()) {
        ok = false;
        return std::nullopt;
    }
    return value->get_ref<const std::string&>();
}

std::optional<UpdateBlock> updateBlock(const Json* value) {
    if (!value || !value->is_object()) return std::nullopt;
    const Json* start = member(*value, "startIndex");
    const Json* count = member(*value, "itemCount");
    const std::string* state = stringOrNull(member(*value, "state"));
    auto run = stringList(member(*value, "run"));
    const std::string* logPath = stringOrNull(member(*value, "logPath"));
    if (!start || !count || !state || !run || !logPath) return std::nullopt;
    auto startIndex = wholeNumber(*start);
    auto itemCount = wholeNumber(*count);
    auto phase = cliUpdatePhaseFromWord(*state);
    if (!startIndex || !itemCount || !phase) return std::nullopt;
    bool ok = true;
    UpdateBlock block{*startIndex, *itemCount, *phase, optionalText(*value, "target", ok),
                      optionalText(*value, "detail", ok), std::move(*run), *logPath};
    if (!ok) return std::nullopt;
    return block;
}

std::optional<SnapshotFiles> snapshotFiles(const Json* value) {
    if (!value || !value->is_object()) return std::nullopt;
    const std::string* snapshot = stringOrNull(member(*value, "snapshot"));
    const std::string* refresh = stringOrNull(member(*value, "refreshRequest"));
    const std::string* open = stringOrNull(member(*value, "openRequest"));
    if (!snapshot || !refresh || !open) return std::nullopt;
    if (!isPlainAbsolutePath(*snapshot) || !isPlainAbsolutePath(*refresh) || !isPlainAbsolutePath(*open)) return std::nullopt;
    return SnapshotFiles{*snapshot, *refresh, *open};
}

// The answer's identity object carries only the URLs and the enrollment; the environment and the
// version come from the answer itself.
std::optional<SnapshotIdentity> snapshotIdentity(const Json* value, const std::string& appEnv,
                                                 const std::string& cliVersion) {
    if (!value || !value->is_object()) return std::nullopt;
    const std::string* apiUrl = stringOrNull(member(*value, "apiUrl"));
    const std::string* webUrl = stringOrNull(member(*value, "webUrl"));
    if (!apiUrl || !webUrl) return std::nullopt;
    SnapshotIdentity identity{appEnv, cliVersion, *apiUrl, *webUrl, std::nullopt};
    if (const Json* enrollment = member(*value, "enrollment")) {
        if (!enrollment->is_object()) return std::nullopt;
        const std::string* machineId = stringOrNull(member(*enrollment, "machineId"));
        if (!machineId) return std::nullopt;
        bool ok = true;
        identity.enrollment = SnapshotEnrollment{*machineId, optionalText(*enrollment, "orgId", ok)};
        if (!ok) return std::nullopt;
    }
    return identity;
}

std::optional<std::int64_t> millisecondsOf(const Json* value) {
    if (!value || !value->is_number()) return std::nullopt;
    return milliseconds(value->get<double>());
}

// The desktop diagnostic is what the CLI met while reading the Claude desktop app's registry
// during its refresh, so it is recorded under that operation: the app's own poll keeps its own
// log streak, and a healthy poll after it is not mistaken for a recovery. Each field is read on its own; a damaged one counts as absent.
// "code" may be a code word (kept when it is a safe diagnostic word) or a whole number (written
// in decimal); anything else leaves the code absent. Without a known outcome word there is no
// diagnostic record, but the timing report may still stand.
std::optional<ClientDiagnostic> desktopDiagnostic(const Json& value) {
    auto outcome = [&]() -> std::optional<DiagnosticOutcome> {
        if (auto* word = stringOrNull(member(value, "outcome"))) return diagnosticOutcomeFromWord(*word);
        return std::nullopt;
    }();
    if (!outcome) return std::nullopt;
    ClientDiagnostic diagnostic{DiagnosticOperation::claudeDesktopRegistry, *outcome, {}, {}, {}, {}};
    if (auto* domain = stringOrNull(member(value, "domain")); domain && patterns::isDiagnosticWord(*domain))
        diagnostic.domain = *domain;
    if (const Json* code = member(value, "code")) {
        if (code->is_string()) {
            if (patterns::isDiagnosticWord(code->get_ref<const std::string&>()))
                diagnostic.code = code->get_ref<const std::string&>();
        } else if (auto number = wholeNumber(*code)) {
            diagnostic.code = std::to_string(*number);
        }
    }
    return diagnostic;
}

// A present diagnostic always yields a timing report; missing or damaged "stageMs" and
// "requests" leave it empty rather than absent.
CliRefreshReport refreshReport(const Json& value) {
    const Json* stages = member(value, "stageMs");
    const Json* requests = member(value, "requests");
    if (stages && !stages->is_object()) stages = nullptr;
    if (requests && !requests->is_array()) requests = nullptr;
    CliRefreshReport report;
    if (stages) {
        for (auto it = stages->begin(); it != stages->end(); ++it) {
            if (!patterns::isStageName(it.key())) continue;
            if (auto ms = millisecondsOf(&it.value())) report.stageMs.emplace(it.key(), *ms);
        }
    }
    if (requests) {
        constexpr std::size_t maxRequests = 16;
        for (std::size_t i = 0; i < requests->size() && i < maxRequests; ++i) {
            const Json& request = (*requests)[i];
            if (!request.is_object()) continue;
            const std::string* route = stringOrNull(member(request, "route"));
            auto duration = millisecondsOf(member(request, "durationMs"));
            if (!route || !patterns::isRoute(*route) || !duration) continue;
            MenuApiRequest entry{*route, std::nullopt, std::nullopt, *duration};
            if (const Json* status = member(request, "status"))
                if (auto code = wholeNumber(*status); code && *code >= 100 && *code <= 599) entry.status = *code;
            if (auto* id = stringOrNull(member(request, "requestId")); id && patterns::isRequestId(*id))
                entry.requestId = *id;
            report.requests.push_back(std::move(entry));
        }
    }
    return report;
}

// ---- The answer ------------------------------------------------------------------------------

class TopLevel {
public:
    TopLevel(const Json& root, Instant now, Failure& failure) : root_(root), failure_(failure), decoder_(now, failure) {}

    MenuDecodeResult decode() {
        if (!root_.is_object()) return invalid(Path{}, "an object", &root_);
        const Json* updateValue = member(root_, "cliUpdate");
        const Json* upToDate = member(root_, "cliUpToDateAt");
        const Json* diagnostic = member(root_, "desktopDiagnostic");

        const Json* contractValue = required("contract");
        if (!contractValue) return failed();
        auto contract = wholeNumber(*contractValue);
        if (!contract) return invalid(top("contract"), "an integer", contractValue);

        const std::string* appEnv = requiredString("appEnv");
        if (!appEnv) return failed();
        const std::string* cliVersion = requiredString("cliVersion");
        if (!cliVersion) return failed();
        const std::string* icon = requiredString("icon");
        if (!icon) return failed();

        const Json* refresh = required("refreshSeconds");
        if (!refresh) return failed();
        if (!refresh->is_number() || !std::isfinite(refresh->get<double>()))
            return invalid(top("refreshSeconds"), "a finite number", refresh);

        const Json* watch = required("watchPaths");
        if (!watch) return failed();
        if (!watch->is_array()) return invalid(top("watchPaths"), "an array of strings", watch);
        std::vector<std::string> watchPaths;
        for (std::size_t i = 0; i < watch->size(); ++i) {
            const Json& path = (*watch)[i];
            if (!path.is_string()) return invalid(top("watchPaths").element(i), "a string", &path);
            // Only absolute folders are watched, each once, and at most `maxWatchPaths` of them.
            const auto& text = path.get_ref<const std::string&>();
            if (watchPaths.size() < maxWatchPaths && isPlainAbsolutePath(text) &&
                std::find(watchPaths.begin(), watchPaths.end(), text) == watchPaths.end())
                watchPaths.push_back(text);
        }

        const Json* filesValue = member(root_, "snapshotFiles");
        const Json* identityValue = member(root_, "snapshotIdentity");

        const Json* items = required("items");
        if (!items) return failed();
        if (!items->is_array()) return invalid(top("items"), "an array of items", items);
        std::vector<MenuItem> rows;
        if (!decodedItems(*items, updateBlock(updateValue), *cliVersion, rows)) return failed();

        const Json* moreValue = required("more");
        if (!moreValue) return failed();
        if (!moreValue->is_array()) return invalid(top("more"), "an array of items", moreValue);
        std::vector<MenuItem> more;
        Path morePath = top("more");
        if (!decoder_.menuItems(*moreValue, morePath, 1, more)) return failed();

        // The version check comes after the whole answer was read: an answer of another version
        // whose shape no longer fits is unreadable, not a mismatch.
        if (*contract != menuContract) return decode::ContractMismatch{*contract};

        MenuPayload payload;
        payload.appEnv = *appEnv;
        if (diagnostic && diagnostic->is_object()) {
            payload.desktopDiagnostic = desktopDiagnostic(*diagnostic);
            payload.refreshReport = refreshReport(*diagnostic);
        }
        payload.cliVersion = *cliVersion;
        payload.icon = menuIconFromWord(*icon);
        payload.refreshSeconds = refresh->get<double>();
        payload.watchPaths = std::move(watchPaths);
        payload.items = std::move(rows);
        payload.more = std::move(more);
        if (auto* text = stringOrNull(upToDate)) payload.cliUpToDateAt = parseMenuTime(*text);
        payload.snapshotFiles = snapshotFiles(filesValue);
        payload.snapshotIdentity = snapshotIdentity(identityValue, *appEnv, *cliVersion);
        return payload;
    }

private:
    // The main rows with the update block spliced in. Rows before and after the block are mapped
    // separately, so the dedupe never looks across the block.
    bool decodedItems(const Json& items, const std::optional<UpdateBlock>& block, const std::string& cliVersion,
                      std::vector<MenuItem>& out) {
        Path at = top("items");
        const auto count = static_cast<std::int64_t>(items.size());
        const bool splice = block && !isDone(block->state) && block->startIndex >= 0 && block->startIndex < count &&
                            block->itemCount >= 1 && block->itemCount <= count - block->startIndex &&
                            block->run.size() >= 2 && block->run[0] == "update" && block->run[1] == "--background" &&
                            isPlainAbsolutePath(block->logPath);
        std::vector<MappedItem> mapped;
        std::size_t leftOut = 0;
        if (!decoder_.mapAll(items, 0, items.size(), at, 1, mapped, leftOut)) return false;
        out.reserve(mapped.size() + 2);
        if (!splice) {
            Decoder::appendDeduped(mapped, 0, mapped.size(), out);
        } else {
            // Past the row budget `mapped` is shorter than the item objects.
            const auto start = std::min(static_cast<std::size_t>(block->startIndex), mapped.size());
            const auto end = std::min(start + static_cast<std::size_t>(block->itemCount), mapped.size());
            Decoder::appendDeduped(mapped, 0, start, out);
            out.push_back(MenuItem(row::CliUpdate{CliUpdate{block->state, block->target, cliVersion, block->detail,
                                                            false, block->run, block->logPath}}));
            Decoder::appendDeduped(mapped, end, mapped.size(), out);
        }
        if (leftOut > 0) out.push_back(leftOutRow(leftOut));
        return true;
    }

    Path top(std::string_view key) const { return base_.child(key); }

    const Json* required(std::string_view key) {
        auto it = root_.find(key);
        if (it == root_.end()) {
            failure_.set(top(key), {}, nullptr);
            return nullptr;
        }
        return &*it;
    }

    const std::string* requiredString(std::string_view key) {
        const Json* value = required(key);
        if (!value) return nullptr;
        if (!value->is_string()) {
            failure_.set(top(key), "a string", value);
            return nullptr;
        }
        return &value->get_ref<const std::string&>();
    }

    MenuDecodeResult invalid(const Path& at, std::string_view expected, const Json* found) {
        failure_.set(at, expected, found);
        return failed();
    }
    MenuDecodeResult failed() { return decode::Invalid{failure_.message}; }

    Path base_{};
    const Json& root_;
    Failure& failure_;
    Decoder decoder_;
};

// The parser's own words without its exception tag ("[json.exception.parse_error.101] ").
std::string parserMessage(const char* what) {
    std::string_view text(what);
    if (!text.empty() && text.front() == '[') {
        if (auto close = text.find("] "); close != std::string_view::npos) text.remove_prefix(close + 2);
    }
    return "not a JSON answer: " + std::string(text);
}

}  // namespace

MenuDecodeResult decodeMenuPayload(std::string_view bytes, Instant now) {
    try {
        Json root;
        try {
            root = Json::parse(bytes.begin(), bytes.end());
        } catch (const Json::exception& error) {
            return decode::Invalid{parserMessage(error.what())};
        }
        Failure failure;
        return TopLevel(root, now, failure).decode();
    } catch (const std::exception& error) {
        // Nothing leaves the decoder; running out of memory on a huge answer reads as unreadable.
        return decode::Invalid{std::string("could not read the answer: ") + error.what()};
    }
}

}  // namespace corvane
