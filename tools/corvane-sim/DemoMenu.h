#pragma once

#include "SimSupport.h"

namespace corvane::sim {

// The identity a snapshot written for `appEnv` carries (also announced by the menu answer).
Json snapshotIdentityFor(const std::string& appEnv);

// The built-in demo answer: agent sessions on several harnesses, status rows, connections, a
// submenu, every kind of action, and the update offer while one stands.
Json demoAnswer(const SimPaths& paths, const SimState& state, const std::string& appEnv, double now);

// The answer `menu` prints: the scenario file named by CORVANE_SIM_SCENARIO when set, otherwise
// the demo. A scenario's "cliVersion": "$version" becomes the current version.
std::optional<Json> menuAnswer(const SimPaths& paths, const SimState& state, const std::string& appEnv, double now,
                               std::string* error);

}  // namespace corvane::sim
