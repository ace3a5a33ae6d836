#pragma once

#import <AppKit/AppKit.h>

#include "menu/NativeMenu.h"

// A row of the CLI update block: the update itself (`notice`), which shows the update view while
// the update cannot start, or "View update log" (`log`). The two rows of a block keep their
// roles, so an open menu rewrites them in place.
@interface CliUpdateMenuItem : NSMenuItem
@property(nonatomic) corvane::role::CliUpdateRole role;
@end
