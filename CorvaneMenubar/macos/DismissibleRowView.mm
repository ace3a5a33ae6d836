#import "DismissibleRowView.h"

#import "AppKitText.h"
#import "HostedRowView.h"
#import "MacNativeMenu.h"

using namespace corvane;
using corvane::mac::toNS;

namespace {
constexpr double dismissButtonSize = 16;
constexpr double dismissButtonInset = 10;  // from the right edge
}  // namespace

@implementation DismissibleRowView {
    DismissibleRowContent _content;
    std::weak_ptr<NativeMenuItem> _item;
    HostedRowView* _contentView;
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
        _dismissButton.contentTintColor = NSColor.secondaryLabelColor;
        _dismissButton.toolTip = @"Dismiss";
        [self addSubview:_dismissButton];
        [self updateFromContent:content];
    }
    return self;
}

- (BOOL)isFlipped {
    return YES;
}

- (void)updateFromContent:(const DismissibleRowContent&)content {
    _content = content;
    if (!_contentView || ![_contentView showRow:content.content]) {
        [_contentView removeFromSuperview];
        _contentView = [HostedRowView viewForRow:content.content];
        [self addSubview:_contentView positioned:NSWindowBelow relativeTo:_dismissButton];
    }
    self.toolTip = content.warning ? toNS(*content.warning) : nil;
    [self setFrameSize:NSMakeSize(NSWidth(self.frame), rowHeight(RowContent{content}))];
    [self layoutParts];
    self.needsDisplay = YES;
}

- (void)layoutParts {
    const NSRect bounds = self.bounds;
    _contentView.frame = NSMakeRect(0, 0, std::max(NSWidth(bounds) - dismissButtonSize - dismissButtonInset, 0.0),
                                    NSHeight(bounds));
    _dismissButton.frame = NSMakeRect(NSWidth(bounds) - dismissButtonSize - dismissButtonInset, 3, dismissButtonSize,
                                      dismissButtonSize);
}

- (void)resizeSubviewsWithOldSize:(NSSize)oldSize {
    [super resizeSubviewsWithOldSize:oldSize];
    [self layoutParts];
}

- (void)updateHighlight:(BOOL)highlighted {
    if (_keyboardHighlighted == highlighted) return;
    _keyboardHighlighted = highlighted;
    self.needsDisplay = YES;
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
    self.needsDisplay = YES;
}

- (void)mouseExited:(NSEvent*)event {
    (void)event;
    _hovered = NO;
    self.needsDisplay = YES;
}

- (void)mouseUp:(NSEvent*)event {
    (void)event;
    if (_content.repair) corvane::mac::chooseAfterClosing(_item, Activation{RowPart::main, false});
}

- (void)dismissClicked:(id)sender {
    (void)sender;
    corvane::mac::chooseAfterClosing(_item, Activation{RowPart::dismiss, false});
}

- (void)drawRect:(NSRect)dirtyRect {
    (void)dirtyRect;
    if (!_hovered && !_keyboardHighlighted) return;
    // A light wash of the selection colour keeps the row's own text colours readable.
    [[NSColor.selectedContentBackgroundColor colorWithAlphaComponent:0.25] setFill];
    [[NSBezierPath bezierPathWithRoundedRect:NSInsetRect(self.bounds, 4, 0) xRadius:4 yRadius:4] fill];
}

@end
