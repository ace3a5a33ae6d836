#pragma once

#include <string>

namespace corvane {

// A fresh random (version 4) UUID in its canonical upper-case text form, e.g.
// "3F2504E0-4F89-41D3-9A0C-0305E82C3301". Identifies one app run in the log and one poll in the
// CLI's environment. Never fails: without an entropy source the bytes come from a seeded
// generator, which is still unique enough for identifiers that are not secrets.
std::string makeUuid();

}  // namespace corvane
