// Darwin's open(2) flag for descriptors used only to watch a file (DISPATCH_SOURCE_TYPE_VNODE).
// A constant rather than the SDK's macro, so that the shim report can name its uses.
#include_next <fcntl.h>
#ifndef O_EVTONLY
#include "ShimOnly.h"
static const int O_EVTONLY SHIM_ONLY = 0x00008000;
#endif
