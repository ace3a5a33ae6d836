#include "MenuModel.h"

#include <array>

namespace corvane {
namespace {

template <class E, std::size_t N>
using WordTable = std::array<std::pair<E, std::string_view>, N>;

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

template <class Table, class E>
std::string_view wordOf(const Table& table, E value) {
    for (const auto& [v, w] : table)
        if (v == value) return w;
    return {};
}

template <class E, class Table>
std::optional<E> valueOf(const Table& table, std::string_view word) {
    for (const auto& [v, w] : table)
        if (w == word) return v;
    return std::nullopt;
}


}  // namespace

std::string_view contractWord(StatusMark mark) { return wordOf(statusMarkWords, mark); }
std::string_view contractWord(ConnectionMark mark) { return wordOf(connectionMarkWords, mark); }
std::string_view contractWord(MenuIcon icon) { return wordOf(menuIconWords, icon); }
std::string_view contractWord(CliUpdatePhase phase) { return wordOf(phaseWords, phase); }
std::optional<StatusMark> statusMarkFromWord(std::string_view w) { return valueOf<StatusMark>(statusMarkWords, w); }
std::optional<ConnectionMark> connectionMarkFromWord(std::string_view w) {
    return valueOf<ConnectionMark>(connectionMarkWords, w);
}
std::optional<MenuIcon> menuIconFromWord(std::string_view w) { return valueOf<MenuIcon>(menuIconWords, w); }
std::optional<CliUpdatePhase> cliUpdatePhaseFromWord(std::string_view w) {
    return valueOf<CliUpdatePhase>(phaseWords, w);
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
