#include "MenuModel.h"

#include <array>

#include "WordTable.h"

namespace corvane {
namespace {

constexpr WordTable<StatusMark, 5> statusMarkWords{{{StatusMark::ok, "ok"},
                                                    {StatusMark::problem, "problem"},
                                                    {StatusMark::warn, "warn"},
                                                    {StatusMark::paused, "paused"},
                                                    {StatusMark::muted, "muted"}}};
constexpr WordTable<ConnectionMark, 3> connectionMarkWords{
    {{ConnectionMark::ok, "ok"}, {ConnectionMark::warn, "warn"}, {ConnectionMark::muted, "muted"}}};
constexpr WordTable<MenuIcon, 3> menuIconWords{
    {{MenuIcon::running, "running"}, {MenuIcon::attention, "attention"}, {MenuIcon::paused, "paused"}}};
constexpr WordTable<CliUpdatePhase, 5> phaseWords{{{CliUpdatePhase::available, "available"},
                                                   {CliUpdatePhase::installing, "installing"},
                                                   {CliUpdatePhase::failed, "failed"},
                                                   {CliUpdatePhase::succeeded, "succeeded"},
                                                   {CliUpdatePhase::upToDate, "upToDate"}}};

}  // namespace

std::string_view contractWord(StatusMark mark) { return wordIn(statusMarkWords, mark); }
std::string_view contractWord(ConnectionMark mark) { return wordIn(connectionMarkWords, mark); }
std::string_view contractWord(MenuIcon icon) { return wordIn(menuIconWords, icon); }
std::string_view contractWord(CliUpdatePhase phase) { return wordIn(phaseWords, phase); }
std::optional<StatusMark> statusMarkFromWord(std::string_view w) { return valueIn(statusMarkWords, w); }
std::optional<ConnectionMark> connectionMarkFromWord(std::string_view w) {
    return valueIn(connectionMarkWords, w);
}
std::optional<MenuIcon> menuIconFromWord(std::string_view w) { return valueIn(menuIconWords, w); }
std::optional<CliUpdatePhase> cliUpdatePhaseFromWord(std::string_view w) {
    return valueIn(phaseWords, w);
}

std::string_view verbName(const MenuVerb& verb) {
    static constexpr std::array<std::string_view, std::variant_size_v<MenuVerb>> names{
        "cliUpdate", "background", "run", "terminal", "focus", "url",
        "file",      "copy",       "retryRun", "cancelRun", "dismissRun", "diagnostics"};
    return names[verb.index()];
}

bool startsCliCommand(const MenuVerb& verb) {
    return std::holds_alternative<verb::CliUpdate>(verb) || std::holds_alternative<verb::Background>(verb) ||
           std::holds_alternative<verb::Run>(verb) || std::holds_alternative<verb::Terminal>(verb);
}

std::string_view rowKindName(const MenuItem& item) {
    static constexpr std::array<std::string_view, std::variant_size_v<MenuItem::Value>> names{
        "cliUpdate", "header", "section", "status", "connection", "submenu", "action", "agent", "separator"};
    return names[item.value.index()];
}

}  // namespace corvane
