#import "StatusActionMenuItem.h"

#import "MacNativeMenu.h"
#import "ReleasePickedRowView.h"
#import "RowLayoutDrawing.h"

#include "app/MacDecisions.h"
#include "menu/MenuBuilder.h"
#include "menu/RowLayout.h"

using corvane::Activation;
using corvane::ColourRole;
using corvane::keyboardRowPart;
using corvane::menuMinimumWidth;
using corvane::NativeMenuItem;
using corvane::RowLayout;
using corvane::RowPart;
using corvane::statusActionRowLayout;

// The row view: everything drawn from `statusActionRowLayout` of the item it shows.
@interface StatusActionRowView : ReleasePickedRowView
- (instancetype)initWithItem:(std::weak_ptr<NativeMenuItem>)item;
- (void)refresh;
@end

@implementation StatusActionRowView {
    std::weak_ptr<NativeMenuItem> _item;
    NSButton* _dismissButton;
}

- (instancetype)initWithItem:(std::weak_ptr<NativeMenuItem>)item {
    if ((self = [super initWithFrame:NSMakeRect(0, 0, menuMinimumWidth, corvane::rowmetrics::lineHeight)])) {
        _item = std::move(item);
        self.autoresizingMask = NSViewWidthSizable;
        NSImage* cross = [NSImage imageWithSystemSymbolName:@"xmark.circle.fill" accessibilityDescription:@"Dismiss"];
        _dismissButton = [NSButton buttonWithImage:cross target:self action:@selector(dismissClicked:)];
        _dismissButton.bordered = NO;
        _dismissButton.imagePosition = NSImageOnly;
        _dismissButton.toolTip = @"Dismiss";
        [self addSubview:_dismissButton];
        [self refresh];
    }
    return self;
}

- (BOOL)isFlipped {
    return YES;
}

- (std::optional<RowLayout>)rowLayout {
    auto item = _item.lock();
    if (!item) return std::nullopt;
    return corvane::mac::placedFor(self,
                                   statusActionRowLayout(*item, NSWidth(self.bounds), corvane::mac::rowTextMeasure()));
}

- (void)refresh {
    const auto layout = [self rowLayout];
    if (!layout) return;
    if (NSHeight(self.frame) != layout->height) [self setFrameSize:NSMakeSize(NSWidth(self.frame), layout->height)];
    _dismissButton.hidden = layout->dismissButton ? NO : YES;
    if (layout->dismissButton) _dismissButton.frame = corvane::mac::nsRect(*layout->dismissButton);
    _dismissButton.contentTintColor = corvane::mac::colourFor(
        layout->highlight ? ColourRole::selectedMenuItemText : ColourRole::secondaryLabel);
    self.needsDisplay = YES;
}

- (void)resizeSubviewsWithOldSize:(NSSize)oldSize {
    [super resizeSubviewsWithOldSize:oldSize];
    [self refresh];
}

// The release picks the part under the pointer (see ReleasePickedRowView).
- (void)mouseUp:(NSEvent*)event {
    auto item = _item.lock();
    const auto layout = [self rowLayout];
    if (!item || !layout) return;
    const NSPoint point = [self convertPoint:event.locationInWindow fromView:nil];
    if (!NSPointInRect(point, self.bounds)) return;
    if (layout->dismissButton && NSPointInRect(point, corvane::mac::nsRect(*layout->dismissButton))) {
        [self dismissClicked:nil];
        return;
    }
    const bool option = (event.modifierFlags & NSEventModifierFlagOption) != 0;
    corvane::mac::chooseAfterClosing(_item, Activation{keyboardRowPart(*item, option), option});
}

- (void)dismissClicked:(id)sender {
    (void)sender;
    corvane::mac::chooseAfterClosing(_item, Activation{RowPart::dismiss, false});
}

- (void)drawRect:(NSRect)dirtyRect {
    (void)dirtyRect;
    if (const auto layout = [self rowLayout]) corvane::mac::drawRowLayout(*layout);
}

@end

@implementation StatusActionMenuItem

- (void)presentItem:(std::weak_ptr<NativeMenuItem>)item {
    StatusActionRowView* view = [self.view isKindOfClass:[StatusActionRowView class]] ? (StatusActionRowView*)self.view : nil;
    if (!view) {
        self.view = [[StatusActionRowView alloc] initWithItem:std::move(item)];
    } else {
        [view refresh];
    }
}

@end
