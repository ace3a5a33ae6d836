#include "PlainSurface.h"

#include <unordered_map>

#include "AgentRowLogic.h"
#include "CliUpdatePresentation.h"

namespace corvane {
namespace {

constexpr std::string_view lineJoint = " — ";
constexpr std::string_view spokenJoint = ", ";

template <class T>
const T* contentAs(const NativeMenuItem& item) {
    return item.content() ? std::get_if<T>(&*item.content()) : nullptr;
}

// The lines of a text, empty ones left out.
void addLines(std::vector<std::string>& parts, std::string_view text) {
    while (!text.empty()) {
        const auto end = text.find('\n');
        const auto line = text.substr(0, end);
        if (!line.empty()) parts.emplace_back(line);
        if (end == std::string_view::npos) break;
        text.remove_prefix(end + 1);
    }
}

void addLines(std::vector<std::string>& parts, const std::optional<std::string>& text) {
    if (text) addLines(parts, std::string_view(*text));
}

std::string joined(const std::vector<std::string>& parts, std::string_view joint) {
    std::string out;
    for (const auto& part : parts) {
        if (!out.empty()) out += joint;
        out += part;
    }
    return out;
}

std::vector<std::string> hostedParts(const HostedRow& row) {
    std::vector<std::string> parts;
    std::visit(
        [&](const auto& r) {
            using R = std::decay_t<decltype(r)>;
            if constexpr (std::is_same_v<R, hosted::Header>) {
                addLines(parts, std::string_view(r.title));
                addLines(parts, r.subtitle);
                addLines(parts, r.trailing);
            } else if constexpr (std::is_same_v<R, hosted::SectionLabel>) {
                addLines(parts, std::string_view(r.title));
            } else if constexpr (std::is_same_v<R, hosted::StatusRow>) {
                addLines(parts, std::string_view(r.title));
                addLines(parts, r.subtitle);
            } else {
                parts.push_back(r.name + ": " + r.state);
            }
        },
        row);
    return parts;
}

// The row's whole title: a plain row's title is shortened to the menu's width, and its tool tip
// then holds the whole of it.
const std::string& wholeTitle(const NativeMenuItem& item) { return item.toolTip() ? *item.toolTip() : item.title(); }

std::vector<std::string> partsOf(const NativeMenuItem& item) {
    std::vector<std::string> parts;
    if (const auto* agent = contentAs<AgentRowContent>(item)) {
        addLines(parts, std::string_view(agent->row.corvane.title));
        addLines(parts, agentStatusText(agent->row));
    } else if (const auto* dismissible = contentAs<DismissibleRowContent>(item)) {
        parts = hostedParts(dismissible->content);
    } else if (const auto* hostedRow = contentAs<HostedRowContent>(item)) {
        parts = hostedParts(hostedRow->row);
    } else if (const auto* update = std::get_if<role::CliUpdateRow>(&item.role());
               update && update->role == role::CliUpdateRole::notice) {
        addLines(parts, std::string_view(cliUpdateTitle(update->model)));
        addLines(parts, cliUpdateSubtitle(update->model));
    } else if (std::holds_alternative<role::StatusAction>(item.role())) {
        // The title line and the detail lines, whole, as the tool tip carries them.
        addLines(parts, std::string_view(wholeTitle(item)));
    } else {
        addLines(parts, std::string_view(wholeTitle(item)));
    }
    return parts;
}

// Keys name rows in words the user sees; "/" separates a submenu's key from its rows' keys.
std::string escaped(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        if (c == '%')
            out += "%25";
        else if (c == '/')
            out += "%2F";
        else
            out += c;
    }
    return out;
}

std::string targetKey(const std::string& rowKey, RowPart part) { return rowKey + "/" + std::string(rowPartWord(part)); }

std::string titleOr(const std::string& title, std::string_view fallback) {
    return title.empty() ? std::string(fallback) : title;
}

std::vector<PlainTarget> targetsOf(const NativeMenuItem& item, const std::string& key, const std::string& text,
                                   bool& targetsAreRow) {
    std::vector<PlainTarget> targets;
    auto add = [&](RowPart part, std::string title) {
        targets.push_back({targetKey(key, part), std::move(title), Activation{part, false}});
    };
    targetsAreRow = false;
    if (const auto* agent = contentAs<AgentRowContent>(item)) {
        if (agent->row.harness) add(RowPart::harness, titleOr(agent->row.harness->title, "Open in its app"));
        add(RowPart::corvane, std::string(openInCorvaneTitle));
    } else if (const auto* dismissible = contentAs<DismissibleRowContent>(item)) {
        if (dismissible->repair) add(RowPart::main, titleOr(dismissible->repair->title, "Repair"));
        add(RowPart::dismiss, titleOr(dismissible->dismiss.title, "Dismiss"));
    } else if (item.hasContent()) {
        // Static rows and the update row while it cannot start.
    } else if (const auto* status = std::get_if<role::StatusAction>(&item.role())) {
        add(RowPart::main, titleOr(status->actionTitle, text));
        if (status->dismiss) add(RowPart::dismiss, titleOr(status->dismiss->title, "Dismiss"));
    } else if (item.hasHandler() && !item.submenu()) {
        add(RowPart::main, text);
        targetsAreRow = true;
    }
    return targets;
}

std::string baseKey(const NativeMenuItem& item) {
    if (const auto* app = std::get_if<role::AppRow>(&item.role())) {
        switch (app->kind) {
        case role::AppRowKind::launchAtLogin: return "app:launchAtLogin";
        case role::AppRowKind::about: return "app:about";
        case role::AppRowKind::quit: return "app:quit";
        }
    }
    if (const auto* update = std::get_if<role::CliUpdateRow>(&item.role()))
        return update->role == role::CliUpdateRole::notice ? "cliUpdate:notice" : "cliUpdate:log";
    if (const auto* status = std::get_if<role::StatusAction>(&item.role())) return "statusAction:" + status->identity;
    if (const auto* agent = contentAs<AgentRowContent>(item)) return "agent:" + agent->row.id;
    if (const auto* dismissible = contentAs<DismissibleRowContent>(item)) return "dismissible:" + dismissible->identity;
    if (item.hasContent() && item.representedObject()) return *item.representedObject();
    if (item.hasContent()) return std::string(contentKindName(*item.content())) + ":" + joined(partsOf(item), lineJoint);
    if (item.submenu()) return "submenu:" + wholeTitle(item);
    return "action:" + wholeTitle(item);
}

std::vector<PlainRow> surfaceOf(const NativeMenu& menu, const std::string& prefix) {
    const auto keys = plainKeys(menu, prefix);
    std::vector<PlainRow> rows;
    rows.reserve(menu.count());
    for (std::size_t i = 0; i < menu.count(); ++i) {
        const auto& item = *menu.itemAt(i);
        auto row = plainRow(item, keys[i]);
        if (item.submenu()) row.children = surfaceOf(*item.submenu(), keys[i] + "/");
        rows.push_back(std::move(row));
    }
    return rows;
}

bool chooseIn(const NativeMenu& menu, const std::string& prefix, std::string_view key) {
    const auto keys = plainKeys(menu, prefix);
    for (std::size_t i = 0; i < menu.count(); ++i) {
        const std::string& rowKey = keys[i];
        if (key.size() <= rowKey.size() || key.compare(0, rowKey.size(), rowKey) != 0 || key[rowKey.size()] != '/')
            continue;
        const auto& item = menu.itemAt(i);
        if (const auto& submenu = item->submenu(); submenu && chooseIn(*submenu, rowKey + "/", key)) return true;
        const auto row = plainRow(*item, rowKey);
        for (const auto& target : row.targets)
            if (target.key == key) return row.enabled && item->fire(target.activation);
    }
    return false;
}

}  // namespace

std::string_view rowPartWord(RowPart part) {
    switch (part) {
    case RowPart::main: return "main";
    case RowPart::harness: return "harness";
    case RowPart::corvane: return "corvane";
    case RowPart::dismiss: return "dismiss";
    }
    return "main";
}

std::optional<RowPart> rowPartFromWord(std::string_view word) {
    for (const auto part : {RowPart::main, RowPart::harness, RowPart::corvane, RowPart::dismiss})
        if (rowPartWord(part) == word) return part;
    return std::nullopt;
}

std::string plainRowKey(const NativeMenuItem& item) {
    if (item.isSeparator()) return "separator";
    const std::string key = baseKey(item);
    const auto colon = key.find(':');
    return key.substr(0, colon + 1) + escaped(key.substr(colon + 1));
}

std::vector<std::string> plainKeys(const NativeMenu& menu, const std::string& prefix) {
    return plainKeys(menu.items(), prefix);
}

std::vector<std::string> plainKeys(const std::vector<std::shared_ptr<NativeMenuItem>>& items, const std::string& prefix) {
    std::vector<std::string> keys;
    keys.reserve(items.size());
    std::unordered_map<std::string, int> seen;
    std::string previous = "start";
    for (const auto& item : items) {
        std::string key = plainRowKey(*item);
        if (item->isSeparator())
            key = "separator:" + escaped(previous);
        else
            previous = key;
        if (const int repeats = ++seen[key]; repeats > 1) key += "#" + std::to_string(repeats);
        keys.push_back(prefix + key);
    }
    return keys;
}

PlainRow plainRow(const NativeMenuItem& item, std::string key) {
    PlainRow row;
    row.key = std::move(key);
    if (item.isSeparator()) {
        row.separator = true;
        return row;
    }
    auto parts = partsOf(item);
    row.text = joined(parts, lineJoint);
    row.enabled = item.isEnabled();
    row.targets = targetsOf(item, row.key, row.text, row.targetsAreRow);
    if (const auto* app = std::get_if<role::AppRow>(&item.role()); app && app->kind == role::AppRowKind::launchAtLogin)
        row.check = item.isChecked() ? PlainCheck::on : PlainCheck::off;
    else if (item.isChecked())
        row.check = PlainCheck::on;
    if (item.badge()) parts.push_back(item.badge()->accessibilityText);
    if (const auto* status = std::get_if<role::StatusAction>(&item.role()); status && !status->actionTitle.empty())
        parts.push_back(status->actionTitle);
    row.spokenName = joined(parts, spokenJoint);
    return row;
}

std::vector<PlainRow> plainSurface(const NativeMenu& menu) { return surfaceOf(menu, {}); }

bool listsTargets(const PlainRow& row) { return !row.targets.empty() && !row.targetsAreRow; }

bool choosePlainTarget(const NativeMenu& menu, std::string_view key) { return chooseIn(menu, {}, key); }

std::vector<PlainFold> plainFolds(const std::vector<bool>& separators, std::size_t limit) {
    struct Section {
        std::size_t first = 0, length = 0, kept = 0;
        std::size_t shown() const { return kept == length ? length : kept + 1; }
    };
    std::vector<Section> sections;
    std::size_t total = 0;
    for (std::size_t i = 0; i < separators.size(); ++i) {
        ++total;
        if (separators[i]) continue;
        // The level's last row (the app's own "More" or "Quit") stands alone and never folds.
        if (i == 0 || separators[i - 1] || i + 1 == separators.size()) sections.push_back({i, 0, 0});
        ++sections.back().length;
        ++sections.back().kept;
    }
    while (total > limit) {
        // The section showing the most rows that can still give one up (ties: the later one).
        Section* longest = nullptr;
        for (auto& section : sections) {
            const bool canFold = section.kept == section.length ? section.length >= 3 : section.kept > 1;
            if (canFold && (!longest || section.shown() >= longest->shown())) longest = &section;
        }
        if (!longest) break;
        // Folding first hides two rows behind one; each later step moves one more row behind it.
        longest->kept -= longest->kept == longest->length ? 2 : 1;
        --total;
    }
    std::vector<PlainFold> folds;
    for (const auto& section : sections)
        if (section.kept < section.length) folds.push_back({section.first + section.kept, section.length - section.kept});
    return folds;
}

std::string plainFoldTitle(const PlainFold& fold) { return std::to_string(fold.count) + " more"; }

}  // namespace corvane
