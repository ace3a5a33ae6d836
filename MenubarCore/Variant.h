#pragma once

// Which deployment of the CLI's service this copy of the app serves. Two copies on one machine
// (production and staging, say) are kept apart by it: log folders, persisted update state, the
// CLI's arguments and the menu's name all carry the environment name.

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace corvane {

// The app's information dictionary: the bundle's Info keys on macOS, values baked in at build
// time elsewhere. Values keep their JSON type so that a key holding a number or a list can be
// told apart from one holding text (only text counts).
using InfoDictionary = std::map<std::string, nlohmann::json, std::less<>>;

// Name → value, as the process environment holds it.
using ProcessEnvironment = std::map<std::string, std::string, std::less<>>;

inline constexpr std::string_view productionEnvironment = "production";
inline constexpr std::string_view environmentVariable = "CORVANE_MENUBAR_ENV";
inline constexpr std::string_view environmentInfoKey = "CorvaneEnvironment";
inline constexpr std::string_view appVersionInfoKey = "CFBundleShortVersionString";

struct Variant {
    std::string appEnv{productionEnvironment};

    bool operator==(const Variant&) const = default;

    // First match wins: a non-empty CORVANE_MENUBAR_ENV, then a non-empty text under
    // "CorvaneEnvironment", then production.
    static Variant detect(const std::optional<InfoDictionary>& infoDictionary,
                          const ProcessEnvironment& processEnvironment);

    bool isProduction() const { return appEnv == productionEnvironment; }

    // The arguments of the menu poll: "menu", plus "--env <name>" outside production.
    std::vector<std::string> menuArguments() const;
    // "Corvane", or "Corvane Staging" for an environment named staging: each word's first letter
    // upper case and the rest lower case, by the simple case pairs of Latin, Greek, Cyrillic and
    // Armenian (so "émeraude" reads "Émeraude"); malformed UTF-8 bytes are kept as they are.
    std::string displayName() const;
    // The first character of the name in upper case (one UTF-8 character); nothing for
    // production or an empty name.
    std::optional<std::string> badgeLetter() const;
};

// The dictionary this build carries: "CorvaneEnvironment" when the build was pinned to an
// environment, and the app's version.
InfoDictionary buildInfoDictionary();

// The dictionary's version text when it is non-empty text, otherwise "0.0.0-dev".
std::string appVersion(const std::optional<InfoDictionary>& infoDictionary);

// A snapshot of this process's environment. Later duplicates of a name are ignored, as getenv
// would.
ProcessEnvironment currentProcessEnvironment();

// The variant of this run: the build's dictionary and the process environment.
Variant detectVariant();

}  // namespace corvane
