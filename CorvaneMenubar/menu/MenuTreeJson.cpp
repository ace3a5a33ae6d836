#include "MenuTreeJson.h"

#include "PlainSurface.h"

namespace corvane {
namespace {

std::string kindOf(const NativeMenuItem& item) {
    if (item.content()) {
        // A CLI update row keeps its role name even while it hosts the update view.
        if (const auto* update = std::get_if<role::CliUpdateRow>(&item.role()))
            return update->role == role::CliUpdateRole::notice ? "cliUpdate.notice" : "cliUpdate.log";
        return std::string(contentKindName(*item.content()));
    }
    if (std::holds_alternative<role::StatusAction>(item.role())) return "statusAction";
    if (const auto* update = std::get_if<role::CliUpdateRow>(&item.role()))
        return update->role == role::CliUpdateRole::notice ? "cliUpdate.notice" : "cliUpdate.log";
    return {};
}

nlohmann::json rowJson(const NativeMenuItem& item, const std::string& key) {
    if (item.isSeparator()) return {{"separator", true}};
    const PlainRow plain = plainRow(item, key);
    nlohmann::json row = nlohmann::json::object();
    row["title"] = item.attributedTitle() ? item.attributedTitle()->plainText() : item.title();
    row["enabled"] = item.isEnabled();
    if (plain.check != PlainCheck::none) row["checked"] = plain.check == PlainCheck::on;
    if (item.toolTip()) row["toolTip"] = *item.toolTip();
    if (!item.keyEquivalent().empty()) row["key"] = item.keyEquivalent();
    if (item.badge()) row["badge"] = item.badge()->accessibilityText;
    if (item.isHighlighted()) row["highlighted"] = true;
    if (auto kind = kindOf(item); !kind.empty()) row["kind"] = kind;
    if (const auto* status = std::get_if<role::StatusAction>(&item.role())) row["action"] = status->actionTitle;
    if (!plain.text.empty() && plain.text != row["title"]) row["text"] = plain.text;
    if (listsTargets(plain)) {
        auto& targets = row["targets"] = nlohmann::json::array();
        for (const auto& target : plain.targets)
            targets.push_back({{"part", rowPartWord(target.activation.part)}, {"title", target.title}});
    }
    if (item.submenu()) row["submenu"] = menuTreeJson(*item.submenu(), key + "/");
    return row;
}

}  // namespace

nlohmann::json menuTreeJson(const NativeMenu& menu, const std::string& keyPrefix) {
    nlohmann::json rows = nlohmann::json::array();
    const auto keys = plainKeys(menu, keyPrefix);
    for (std::size_t i = 0; i < menu.count(); ++i) rows.push_back(rowJson(*menu.itemAt(i), keys[i]));
    return rows;
}

}  // namespace corvane
