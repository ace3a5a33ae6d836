#pragma once

#import <AppKit/AppKit.h>

// A clickable status row: a native item whose attributed title holds the status text and its
// detail lines, joined by line feeds. Option-Return (or Option-click) dismisses it when the row
// offers a dismiss action; the tool tip says so.
@interface StatusActionMenuItem : NSMenuItem
@property(nonatomic, copy) NSString* identity;
@property(nonatomic) NSInteger lineCount;
@property(nonatomic) BOOL offersDismiss;
@end
