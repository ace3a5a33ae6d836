#import "DismissibleRowView.h"

#import "AppKitText.h"
#import "MacNativeMenu.h"
#import "RowLayoutDrawing.h"

#include "menu/RowLayout.h"

using corvane::Activation;
using corvane::ColourRole;
using corvane::DismissibleRowContent;
using corvane::dismissibleRowLayout;
using corvane::NativeMenuItem;
using corvane::plainText;
using corvane::RowLayout;
using corvane::RowPart;
using corvane::mac::toNS;

@implementation DismissibleRowView {
    DismissibleRowContent _content;
    std::weak_ptr<NativeMenuItem> _item;
    NSButton* _dismissButton;
    NSTrackingArea* _tracking;
    BOOL _hovered;
    BOOL _keyboardHighlighted;
}

- (instancetype)initWithFrame:(NSRect)frame
                      content:(const DismissibleRowContent&)content
                         item:(std::weak_ptr<NativeMenuItem>)item {
    if ((self = [super initWithFrame:frame])) {
        _item = std::move(item);
        self.autoresizingMask = NSViewWidthSizable;
        NSImage* cross = [NSImage imageWithSystemSymbolName:@"xmark.circle.fill" accessibilityDescription:@"Dismiss"];
        _dismissButton = [NSButton buttonWithImage:cross target:self action:@selector(dismissClicked:)];
        _dismissButton.bordered = NO;
        _dismissButton.imagePosition = NSImageOnly;
        _dismissButton.toolTip = @"Dismiss";
        [self addSubview:_dismissButton];
        [self updateFromContent:content];
    }
    return self;
}

- (BOOL)isFlipped {
    return YES;
}

- (RowLayout)rowLayout {
    const auto layout = dismissibleRowLayout(_content, NSWidth(self.bounds), _hovered || _keyboardHighlighted,
                                             corvane::mac::rowTextMeasure());
    return corvane::mac::placedFor(self, layout);
}

- (void)updateFromContent:(const DismissibleRowContent&)content {
    _content = content;
    self.toolTip = content.warning ? toNS(*content.warning) : toNS(plainText(content.content));
    [self setFrameSize:NSMakeSize(NSWidth(self.frame), [self rowLayout].height)];
    [self refresh];
}

- (void)refresh {
    const auto layout = [self rowLayout];
    _dismissButton.hidden = layout.dismissButton ? NO : YES;
    if (layout.dismissButton) _dismissButton.frame = corvane::mac::nsRect(*layout.dismissButton);
    _dismissButton.contentTintColor = corvane::mac::colourFor(
        layout.highlight ? ColourRole::selectedMenuItemText : ColourRole::secondaryLabel);
    self.needsDisplay = YES;
}

- (void)resizeSubviewsWithOldSize:(NSSize)oldSize {
    [super resizeSubviewsWithOldSize:oldSize];
    [self refresh];
}

- (void)updateHighlight:(BOOL)highlighted {
    if (_keyboardHighlighted == highlighted) return;
    _keyboardHighlighted = highlighted;
    [self refresh];
}

- (void)updateTrackingAreas {
    [super updateTrackingAreas];
    if (_tracking) [self removeTrackingArea:_tracking];
    _tracking = [[NSTrackingArea alloc] initWithRect:NSZeroRect
                                             options:NSTrackingMouseEnteredAndExited | NSTrackingActiveAlways |
                                                     NSTrackingInVisibleRect
                                               owner:self
                                            userInfo:nil];
    [self addTrackingArea:_tracking];
}

- (void)mouseEntered:(NSEvent*)event {
    (void)event;
    _hovered = YES;
    [self refresh];
}

- (void)mouseExited:(NSEvent*)event {
    (void)event;
    _hovered = NO;
    [self refresh];
}

// The release picks the part under the pointer (see ReleasePickedRowView).
- (void)mouseUp:(NSEvent*)event {
    const NSPoint point = [self convertPoint:event.locationInWindow fromView:nil];
    if (!NSPointInRect(point, self.bounds)) return;
    const auto layout = [self rowLayout];
    if (layout.dismissButton && NSPointInRect(point, corvane::mac::nsRect(*layout.dismissButton)))
        [self dismissClicked:nil];
    else if (_content.repair)
        corvane::mac::chooseAfterClosing(_item, Activation{RowPart::main, false});
}

- (void)dismissClicked:(id)sender {
    (void)sender;
    corvane::mac::chooseAfterClosing(_item, Activation{RowPart::dismiss, false});
}

- (void)drawRect:(NSRect)dirtyRect {
    (void)dirtyRect;
    corvane::mac::drawRowLayout([self rowLayout]);
}

@end
