#include "MenuJson.h"

#include "UntrustedInput.h"

namespace corvane {
namespace {

using Json = nlohmann::json;

template <class T>
void putOptional(Json& object, const char* key, const std::optional<T>& value) {
    if (value) object[key] = *value;
}

void putAction(Json& object, const char* key, const std::optional<MenuAction>& action) {
    if (action) object[key] = actionJson(*action);
}

Json backgroundJson(const BackgroundAction& action) {
    return Json{{"argv", action.argv}, {"progress", action.progress}, {"detail", action.detail}};
}

Json agentJson(const AgentRow& agent) {
    Json object{{"id", agent.id}, {"icon", agent.icon}};
    putOptional(object, "status", agent.status);
    putOptional(object, "statusLabel", agent.statusLabel);
    putAction(object, "harness", agent.harness);
    object["corvane"] = actionJson(agent.corvane);
    return object;
}

// ---- Text --------------------------------------------------------------------------------------

std::string quoted(const std::string& word) {
    if (!word.empty() && word.find_first_of(" \t\"'") == std::string::npos) return word;
    std::string text = "\"";
    for (char c : word) {
        if (c == '"' || c == '\\') text += '\\';
        text += c;
    }
    return text + '"';
}

std::string joined(const Arguments& words) {
    std::string text;
    for (const auto& word : words) {
        if (!text.empty()) text += ' ';
        text += quoted(word);
    }
    return text;
}

std::string command(const Arguments& arguments) { return arguments.empty() ? "corvane" : "corvane " + joined(arguments); }

std::string verbText(const MenuVerb& verb) {
    struct Visitor {
        std::string operator()(const verb::CliUpdate& v) const { return "update the CLI: " + command(v.update.run); }
        std::string operator()(const verb::Background& v) const {
            std::string text = "background " + command(v.action.argv) + " (\"" + v.action.progress + "\")";
            if (v.fallback) text += ", else terminal " + command(*v.fallback);
            return text;
        }
        std::string operator()(const verb::Run& v) const { return "run " + command(v.arguments); }
        std::string operator()(const verb::Terminal& v) const { return "terminal " + command(v.arguments); }
        std::string operator()(const verb::Focus& v) const {
            std::string text = "focus " + v.tty + " (pid " + std::to_string(v.appPid) + ")";
            if (v.fallback) text += ", else terminal " + command(*v.fallback);
            return text;
        }
        std::string operator()(const verb::Url& v) const { return "open " + v.url; }
        std::string operator()(const verb::File& v) const { return "open file " + v.path; }
        std::string operator()(const verb::Copy& v) const { return "copy \"" + v.text + "\""; }
        std::string operator()(const verb::RetryRun&) const { return "retry the last command"; }
        std::string operator()(const verb::CancelRun&) const { return "cancel the running command"; }
        std::string operator()(const verb::DismissRun&) const { return "dismiss the failure"; }
        std::string operator()(const verb::Diagnostics&) const { return "copy diagnostics"; }
    };
    return std::visit(Visitor{}, verb);
}

// "  → run corvane open s1  [paused] (reports click)"
std::string actionTail(const MenuAction& action) {
    std::string text = "  \u2192 " + verbText(action.verb);
    if (action.badge) text += "  [" + *action.badge + "]";
    if (action.reportClick) text += "  (reports click)";
    if (!action.isEnabled) text += "  (disabled)";
    return text;
}

std::string actionLine(const char* label, const MenuAction& action) {
    return std::string(label) + ": " + action.title + actionTail(action);
}

class TextWriter {
public:
    std::string text;

    void rows(const std::vector<MenuItem>& items, int depth) {
        for (const auto& item : items) row(item, depth);
    }

private:
    void line(int depth, std::string_view kind, const std::string& body) {
        text.append(static_cast<std::size_t>(depth) * 2, ' ');
        text += kind;
        if (kind.size() < 11) text.append(11 - kind.size(), ' ');
        else text += ' ';
        // The tree is printed on a terminal: no control character of the CLI's reaches it.
        text += terminalSafeText(body);
        text += '\n';
    }
    // A continuation line under the row above, aligned with its text.
    void detail(int depth, const std::string& body) { line(depth, "", "  " + body); }

    void row(const MenuItem& item, int depth) {
        const std::string_view kind = rowKindName(item);
        if (auto* update = item.as<row::CliUpdate>()) {
            const CliUpdate& u = update->update;
            std::string body = "[" + std::string(contractWord(u.phase)) + "] " + u.installedVersion;
            if (u.target) body += " \u2192 " + *u.target;
            if (u.detail) body += " \u2014 " + *u.detail;
            if (u.isBlocked) body += "  (blocked)";
            line(depth, kind, body);
            detail(depth, command(u.run) + "  (log " + u.logPath + ")");
        } else if (auto* header = item.as<row::Header>()) {
            std::string body = header->title;
            if (header->subtitle) body += " \u2014 " + *header->subtitle;
            if (header->trailing) body += "  (" + *header->trailing + ")";
            line(depth, kind, body);
        } else if (auto* section = item.as<row::Section>()) {
            line(depth, kind, section->title);
        } else if (auto* status = item.as<row::Status>()) {
            std::string body = "[" + std::string(contractWord(status->mark)) + "] " + status->title;
            if (status->subtitle) body += " \u2014 " + *status->subtitle;
            if (status->action) body += actionTail(*status->action);
            line(depth, kind, body);
            if (status->dismiss) detail(depth, actionLine("dismiss", *status->dismiss));
        } else if (auto* connection = item.as<row::Connection>()) {
            std::string body =
                "[" + std::string(contractWord(connection->mark)) + "] " + connection->name + ": " + connection->state;
            if (connection->action) body += actionTail(*connection->action);
            line(depth, kind, body);
            if (connection->dismiss) detail(depth, actionLine("dismiss", *connection->dismiss));
        } else if (auto* submenu = item.as<row::Submenu>()) {
            line(depth, kind, submenu->title + (submenu->items.empty() ? " \u25B8 (empty)" : " \u25B8"));
            rows(submenu->items, depth + 1);
        } else if (auto* action = item.as<row::Action>()) {
            line(depth, kind, action->action.title + actionTail(action->action));
        } else if (auto* agent = item.as<row::Agent>()) {
            const AgentRow& a = agent->agent;
            std::string body = "[" + a.icon + (a.status ? " \u00B7 " + *a.status : std::string()) + "] " + a.corvane.title;
            if (a.statusLabel) body += " \u2014 " + *a.statusLabel;
            line(depth, kind, body + actionTail(a.corvane));
            if (a.harness) detail(depth, actionLine("harness", *a.harness));
        } else {
            line(depth, kind, "\u2500\u2500\u2500\u2500\u2500\u2500\u2500\u2500");
        }
    }
};

}  // namespace

Json verbJson(const MenuVerb& verb) {
    struct Visitor {
        Json& out;
        void operator()(const verb::CliUpdate& v) const { out["update"] = cliUpdateJson(v.update); }
        void operator()(const verb::Background& v) const {
            out["action"] = backgroundJson(v.action);
            putOptional(out, "fallback", v.fallback);
        }
        void operator()(const verb::Run& v) const { out["arguments"] = v.arguments; }
        void operator()(const verb::Terminal& v) const { out["arguments"] = v.arguments; }
        void operator()(const verb::Focus& v) const {
            out["tty"] = v.tty;
            out["appPid"] = v.appPid;
            putOptional(out, "fallback", v.fallback);
        }
        void operator()(const verb::Url& v) const { out["url"] = v.url; }
        void operator()(const verb::File& v) const { out["path"] = v.path; }
        void operator()(const verb::Copy& v) const { out["text"] = v.text; }
        void operator()(const verb::RetryRun&) const {}
        void operator()(const verb::CancelRun&) const {}
        void operator()(const verb::DismissRun&) const {}
        void operator()(const verb::Diagnostics&) const {}
    };
    Json object{{"kind", verbName(verb)}};
    std::visit(Visitor{object}, verb);
    return object;
}

Json cliUpdateJson(const CliUpdate& update) {
    Json object{{"phase", contractWord(update.phase)}};
    putOptional(object, "target", update.target);
    object["installedVersion"] = update.installedVersion;
    putOptional(object, "detail", update.detail);
    object["isBlocked"] = update.isBlocked;
    object["run"] = update.run;
    object["logPath"] = update.logPath;
    return object;
}

Json actionJson(const MenuAction& action) {
    Json object{{"title", action.title}, {"verb", verbJson(action.verb)}};
    putOptional(object, "reportClick", action.reportClick);
    putOptional(object, "badge", action.badge);
    object["isEnabled"] = action.isEnabled;
    return object;
}

Json rowJson(const MenuItem& item) {
    struct Visitor {
        Json& out;
        void operator()(const row::CliUpdate& r) const { out["update"] = cliUpdateJson(r.update); }
        void operator()(const row::Header& r) const {
            out["title"] = r.title;
            putOptional(out, "subtitle", r.subtitle);
            putOptional(out, "trailing", r.trailing);
        }
        void operator()(const row::Section& r) const { out["title"] = r.title; }
        void operator()(const row::Status& r) const {
            out["mark"] = contractWord(r.mark);
            out["title"] = r.title;
            putOptional(out, "subtitle", r.subtitle);
            putAction(out, "dismiss", r.dismiss);
            putAction(out, "action", r.action);
        }
        void operator()(const row::Connection& r) const {
            out["mark"] = contractWord(r.mark);
            out["name"] = r.name;
            out["state"] = r.state;
            putAction(out, "dismiss", r.dismiss);
            putAction(out, "action", r.action);
        }
        void operator()(const row::Submenu& r) const {
            Json items = Json::array();
            for (const auto& child : r.items) items.push_back(rowJson(child));
            out["title"] = r.title;
            out["items"] = std::move(items);
        }
        void operator()(const row::Action& r) const { out["action"] = actionJson(r.action); }
        void operator()(const row::Agent& r) const { out["agent"] = agentJson(r.agent); }
        void operator()(const row::Separator&) const {}
    };
    Json object{{"type", rowKindName(item)}};
    std::visit(Visitor{object}, item.value);
    return object;
}

std::string rowsText(const std::vector<MenuItem>& rows) {
    TextWriter writer;
    writer.rows(rows, 0);
    return writer.text;
}

}  // namespace corvane
