#pragma once

#import "HostedRowView.h"

// A connection: a coloured mark, the name, and its state right-aligned in the secondary colour.
@interface ConnectionRowView : HostedRowView
@end
