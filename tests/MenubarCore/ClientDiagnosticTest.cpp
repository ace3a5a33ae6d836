#include "ClientDiagnostic.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

namespace corvane {
namespace {

using Op = DiagnosticOperation;
using Out = DiagnosticOutcome;
using std::nullopt;

constexpr const char* posix = "NSPOSIXErrorDomain";
constexpr const char* cocoa = "NSCocoaErrorDomain";

TEST(ClientDiagnosticTest, PlatformErrorsBecomeDiagnostics) {
    using Text = std::optional<std::string>;
    const auto cli = [](Out outcome, Text domain, Text code, Text underDomain = nullopt, Text underCode = nullopt) {
        return ClientDiagnostic{Op::cliRun, outcome, domain, code, underDomain, underCode};
    };
    const std::string os = "NSOSStatusErrorDomain";
    // A Cocoa permission code is a denial whatever the underlying error says; the underlying error
    // only counts when it is a POSIX one; the error's own POSIX code wins over an underlying one.
    const std::vector<std::pair<SystemError, ClientDiagnostic>> rows{
        {SystemError::posix(2), cli(Out::missing, posix, "2")}, {SystemError::posix(1), cli(Out::denied, posix, "1")},
        {SystemError::posix(5), cli(Out::failed, posix, "5")},
        {{cocoa, 260, ErrorCode{posix, 13}}, cli(Out::denied, cocoa, "260", posix, "13")},
        {{cocoa, 4, nullopt}, cli(Out::missing, cocoa, "4")}, {{cocoa, 257, nullopt}, cli(Out::denied, cocoa, "257")},
        {{cocoa, 513, ErrorCode{posix, 28}}, cli(Out::denied, cocoa, "513", posix, "28")},
        {{cocoa, 512, ErrorCode{posix, 2}}, cli(Out::missing, cocoa, "512", posix, "2")},
        {{cocoa, 512, ErrorCode{os, 2}}, cli(Out::failed, cocoa, "512", os, "2")},
        {{posix, 5, ErrorCode{posix, 13}}, cli(Out::failed, posix, "5", posix, "13")},
        {{"com.example.App", -42, ErrorCode{"MyDomain", 7}}, cli(Out::failed, "other", "-42", "other", "7")},
        {{"nsposixerrordomain", 2, nullopt}, cli(Out::failed, "other", "2")},
    };
    for (const auto& [error, expected] : rows)
        EXPECT_EQ(ClientDiagnostic::system(Op::cliRun, error), expected) << expected.summary();
}

TEST(ClientDiagnosticTest, AppleEventCodes) {
    const std::vector<std::pair<std::int64_t, Out>> rows{
        {-1743, Out::denied}, {-600, Out::missing}, {-10814, Out::missing}, {-1712, Out::failed}, {1743, Out::failed},
    };
    for (const auto& [code, outcome] : rows)
        EXPECT_EQ(ClientDiagnostic::appleEvent(code, Op::terminalOpen),
                  (ClientDiagnostic{Op::terminalOpen, outcome, "AppleEvents", std::to_string(code), nullopt, nullopt}));
}

std::string marker(const std::string& envelope) { return "CORVANE_DIAGNOSTIC " + envelope; }
std::string envelope(const std::string& outcome, const std::string& domain, const std::string& code, int version = 1) {
    return R"({"version":)" + std::to_string(version) + R"(,"failure":{"outcome":")" + outcome + R"(","domain":")" +
           domain + R"(","code":")" + code + R"("}})";
}

// Only the envelope's version and the failure's three words count; whatever else a marker or
// stderr holds is read past.
TEST(ClientDiagnosticTest, CliMarkerLines) {
    auto found = [](Out outcome, const char* domain, const char* code) {
        return ClientDiagnostic{Op::menuPoll, outcome, domain, code, nullopt, nullopt};
    };
    const auto failed = [](const std::string& domain, const std::string& code) { return marker(envelope("failed", domain, code)); };
    const std::string valid = marker(envelope("missing", "POSIX", "ENOENT")), damaged = marker("{");
    const auto enoent = found(Out::missing, "POSIX", "ENOENT"), failedE = found(Out::failed, "POSIX", "E");
    const std::string a32(32, 'A');
    const auto repeated = [](const std::string& line, std::size_t count) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) text += line + "\n";
        return text;
    };
    // A long cause inside the failure, or deep details beside it, keep the envelope valid.
    const auto withCause = [](std::size_t size) {
        return marker(R"({"version":1,"failure":{"outcome":"failed","domain":"POSIX","code":"E","cause":")" +
                      std::string(size, 'x') + R"("}})");
    };
    const std::string deep = std::string(1000, '[') + std::string(1000, ']');
    const std::vector<std::tuple<const char*, std::optional<std::string>, std::optional<ClientDiagnostic>>> rows{
        {"absent", nullopt, nullopt}, {"plain output", "Error: something broke\n", nullopt},
        {"marker among other lines", "warn\n" + valid + "\nbye\n", enoent},
        {"last valid marker wins", marker(envelope("denied", "Node", "EACCES")) + "\n" + failed("Corvane", "LATER"),
         found(Out::failed, "Corvane", "LATER")},
        {"later invalid version skipped", valid + "\n" + marker(envelope("failed", "Corvane", "LATER", 2)) + "\n", enoent},
        {"carriage return line ends", valid + "\r\n", enoent},
        {"code of 32 characters", failed("Corvane", a32), found(Out::failed, "Corvane", a32.c_str())},
        {"code of 33 characters", failed("Corvane", a32 + "A"), nullopt}, {"code with a dot", failed("Corvane", "E.X"), nullopt},
        {"domain lower case", failed("posix", "E"), nullopt}, {"invalid utf-8", failed("POSIX", "\xff"), nullopt},
        {"outcome available", marker(envelope("available", "POSIX", "E")), nullopt},
        {"no space after the prefix", "CORVANE_DIAGNOSTIC" + envelope("failed", "POSIX", "E"), nullopt},
        {"prefix not at line start", " " + valid, nullopt}, {"trailing text after the json", valid + " x", nullopt},
        {"code as number", marker(R"({"version":1,"failure":{"outcome":"failed","domain":"POSIX","code":5}})"), nullopt},
        {"extra keys ignored",
         marker(R"({"version":1,"x":[1],"failure":{"outcome":"failed","domain":"POSIX","code":"E","path":"/u"}})"), failedE},
        {"valid marker before many damaged ones", valid + "\n" + repeated(damaged, 100), enoent},
        {"other lines do not count", valid + "\n" + repeated("noise", 100'000), enoent},
        {"brackets inside strings do not nest", marker(R"({"version":1,"failure":)"
         R"({"outcome":"failed","domain":"POSIX","code":"E","note":"\\\"[[[[[[[[{{{{{{"}})"), failedE},
        {"deeply nested lines are skipped", valid + "\n" + repeated(marker(std::string(100'000, '[')), 10), enoent},
        {"cause of 10 KiB", withCause(10 * 1024), failedE},
        {"deep details beside the failure",
         marker(R"({"version":1,"detail":)" + deep + R"(,"failure":{"outcome":"failed","domain":"POSIX","code":"E"}})"),
         failedE},
        {"failure given twice: the last counts",
         marker(R"({"version":1,"failure":{"outcome":"failed","domain":"POSIX","code":"E"},"failure":{"code":"E"}})"),
         nullopt},
    };
    for (const auto& [name, text, expected] : rows) EXPECT_EQ(cliFailureDiagnostic(Op::menuPoll, text), expected) << name;
}

TEST(ClientDiagnosticTest, SummariesListThePresentWords) {
    const std::vector<std::pair<ClientDiagnostic, std::string>> rows{
        {{Op::menuAnalytics, Out::notNeeded, nullopt, nullopt, nullopt, nullopt}, "menu.analytics not-needed"},
        {{Op::claudeDesktopRegistry, Out::available, nullopt, "X", nullopt, "9"}, "claude.desktop-registry available X 9"},
        {{Op::terminalFocus, Out::missing, cocoa, "260", posix, "13"},
         "terminal.focus missing NSCocoaErrorDomain 260 NSPOSIXErrorDomain 13"},
    };
    for (const auto& [diagnostic, summary] : rows) EXPECT_EQ(diagnostic.summary(), summary);
}

TEST(ClientDiagnosticTest, JsonRoundTripAndStrictReading) {
    const std::vector<ClientDiagnostic> values{
        {Op::cliRun, Out::available, nullopt, nullopt, nullopt, nullopt},
        {Op::menuPoll, Out::denied, posix, "13", nullopt, nullopt},
        {Op::terminalFocus, Out::notNeeded, cocoa, "260", posix, "2"},
    };
    for (const auto& value : values) EXPECT_EQ(clientDiagnosticFromJson(toJson(value)), value) << value.summary();

    const std::vector<std::pair<const char*, std::optional<ClientDiagnostic>>> reads{
        {R"({"operation":"menu.poll","outcome":"failed","domain":"x","extra":1})",
         ClientDiagnostic{Op::menuPoll, Out::failed, "x", nullopt, nullopt, nullopt}},
        {R"({"operation":"menu.poll"})", nullopt},
        {R"({"operation":"menu.refresh","outcome":"failed"})", nullopt},
        {R"({"operation":"menu.poll","outcome":"FAILED"})", nullopt},
        {R"({"operation":"menu.poll","outcome":"failed","code":2})", nullopt},
        {R"(["menu.poll","failed"])", nullopt},
    };
    for (const auto& [text, expected] : reads)
        EXPECT_EQ(clientDiagnosticFromJson(nlohmann::json::parse(text)), expected) << text;
}

}  // namespace
}  // namespace corvane
