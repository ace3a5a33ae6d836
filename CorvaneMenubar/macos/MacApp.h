#pragma once

namespace corvane::mac {

// The AppKit app: "--unregister-login-item" unregisters and returns its exit status; otherwise
// the accessory app runs with one status item until it is terminated (it never returns then).
int runMacApp(int argc, char** argv);

}  // namespace corvane::mac
