// Marks every declaration of the shim. In report mode (-DOBJC_CHECK_REPORT_SHIM) each one is
// deprecated with a fixed message, so clang names every use of an API that only the shim declares
// (ci-check.sh collects them: the names a reviewer must confirm against the real macOS SDK).
#ifndef OBJC_CHECK_SHIM_ONLY_H
#define OBJC_CHECK_SHIM_ONLY_H
#include "os/availability.h"
#ifdef OBJC_CHECK_REPORT_SHIM
#define SHIM_ONLY __attribute__((deprecated("declared only by the objc-check shim")))
#else
#define SHIM_ONLY
#endif
#endif
