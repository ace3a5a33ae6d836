#include "MenuTreeJson.h"

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

nlohmann::json rowJson(const NativeMenuItem& item) {
    if (item.isSeparator()) return {{"separator", true}};
    nlohmann::json row = nlohmann::json::object();
    row["title"] = item.attributedTitle() ? item.attributedTitle()->plainText() : item.title();
    row["enabled"] = item.isEnabled();
    if (item.isChecked()) row["checked"] = true;
    if (item.toolTip()) row["toolTip"] = *item.toolTip();
    if (!item.keyEquivalent().empty()) row["key"] = item.keyEquivalent();
    if (item.badge()) row["badge"] = item.badge()->accessibilityText;
    if (item.isHighlighted()) row["highlighted"] = true;
    if (auto kind = kindOf(item); !kind.empty()) row["kind"] = kind;
    if (const auto* status = std::get_if<role::StatusAction>(&item.role())) row["action"] = status->actionTitle;
    if (item.content()) {
        if (auto text = plainText(*item.content()); !text.empty()) row["text"] = text;
    }
    if (item.submenu()) row["submenu"] = menuTreeJson(*item.submenu());
    return row;
}

}  // namespace

nlohmann::json menuTreeJson(const NativeMenu& menu) {
    nlohmann::json rows = nlohmann::json::array();
    for (const auto& item : menu.items()) rows.push_back(rowJson(*item));
    return rows;
}

}  // namespace corvane
