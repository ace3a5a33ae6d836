#pragma once

#import "HostedRowView.h"

// The menu's header: a title in the menu font, an optional trailing text at the right in the secondary colour, and the subtitle's lines below.
@interface HeaderRowView : HostedRowView
@end
