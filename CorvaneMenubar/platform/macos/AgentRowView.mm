#import "AgentRowView.h"

#import <QuartzCore/QuartzCore.h>

#import "AppKitText.h"
#import "MacNativeMenu.h"
#import "PassiveImageView.h"
#import "RowLayoutDrawing.h"

#include "app/MacDecisions.h"

using corvane::Activation;
using corvane::AgentRow;
using corvane::AgentRowContent;
using corvane::AgentRowGeometry;
using corvane::agentRowGeometry;
using corvane::agentStatusText;
using corvane::AgentTarget;
using corvane::agentTargetAt;
using corvane::describeTargets;
using corvane::firstAvailable;
using corvane::FontRole;
using corvane::genericHarnessSymbol;
using corvane::harnessIconCandidates;
using corvane::highlightedTarget;
using corvane::NativeMenuItem;
using corvane::PulseAnimation;
using corvane::pulseNeedsRestart;
using corvane::RowPart;
using corvane::shouldPulse;
using corvane::mac::nsRect;
using corvane::mac::toNS;

namespace {

// The icon of the first harness app the workspace can find, else the generic "app.dashed" symbol.
NSImage* harnessIcon(const std::string& iconWord) {
    NSWorkspace* workspace = NSWorkspace.sharedWorkspace;
    const auto found = firstAvailable(harnessIconCandidates(iconWord).bundleIds, [workspace](const std::string& id) {
        return [workspace URLForApplicationWithBundleIdentifier:toNS(id)] != nil;
    });
    if (found) {
        NSURL* url = [workspace URLForApplicationWithBundleIdentifier:toNS(*found)];
        if (url.path) return [workspace iconForFile:url.path];
    }
    return [NSImage imageWithSystemSymbolName:toNS(genericHarnessSymbol) accessibilityDescription:nil];
}

}  // namespace

@implementation AgentRowView {
    NSButton* _harnessButton;
    NSButton* _corvaneButton;
    PassiveImageView* _iconView;
    AgentRow _row;
    BOOL _reduceMotion;
    std::weak_ptr<NativeMenuItem> _item;
    NSTrackingArea* _tracking;
    std::optional<AgentTarget> _hoveredTarget;
    BOOL _keyboardHighlighted;
}

- (instancetype)initWithFrame:(NSRect)frame
                      content:(const AgentRowContent&)content
                         item:(std::weak_ptr<NativeMenuItem>)item {
    if ((self = [super initWithFrame:frame])) {
        _row = content.row;
        _reduceMotion = content.reduceMotion ? YES : NO;
        _item = std::move(item);
        self.autoresizingMask = NSViewWidthSizable;

        _harnessButton = [[NSButton alloc] initWithFrame:NSZeroRect];
        [_harnessButton setTransparent:YES];
        _harnessButton.target = self;
        _harnessButton.action = @selector(harnessClicked:);
        [self addSubview:_harnessButton];

        NSImage* bolt = [NSImage imageWithSystemSymbolName:@"bolt.fill" accessibilityDescription:@"Corvane"];
        _corvaneButton = [NSButton buttonWithImage:bolt target:self action:@selector(corvaneClicked:)];
        _corvaneButton.bordered = NO;
        _corvaneButton.imagePosition = NSImageOnly;
        [self addSubview:_corvaneButton];

        _iconView = [[PassiveImageView alloc] initWithFrame:NSZeroRect];
        _iconView.imageScaling = NSImageScaleProportionallyUpOrDown;
        _iconView.wantsLayer = YES;
        _iconView.image = harnessIcon(_row.icon);
        [self addSubview:_iconView];

        [self describeTargets];
        [self layoutParts];
    }
    return self;
}

- (instancetype)initWithCoder:(NSCoder*)coder {
    (void)coder;
    NSLog(@"init(coder:) has not been implemented");
    abort();
}

- (BOOL)isFlipped {
    return YES;
}

- (void)showRow:(const AgentRow&)row reduceMotion:(BOOL)reduceMotion {
    const bool restartPulse = pulseNeedsRestart(_row, row) || reduceMotion != _reduceMotion;
    _reduceMotion = reduceMotion;
    const bool newIcon = row.icon != _row.icon;
    _row = row;
    if (newIcon) _iconView.image = harnessIcon(_row.icon);
    [self describeTargets];
    [self layoutParts];
    if (restartPulse) [self syncPulse];
}

- (void)describeTargets {
    const auto descriptions = corvane::describeTargets(_row, corvane::macWords);
    _harnessButton.enabled = descriptions.harnessEnabled ? YES : NO;
    _harnessButton.toolTip = toNS(descriptions.harnessToolTip);
    _harnessButton.accessibilityLabel = toNS(descriptions.harnessAccessibilityLabel);
    _corvaneButton.toolTip = toNS(descriptions.corvaneToolTip);
    _corvaneButton.accessibilityLabel = toNS(descriptions.corvaneAccessibilityLabel);
    [self redrawHighlight];
}

// ---- Highlight ----

- (void)updateHighlight:(BOOL)highlighted {
    if (_keyboardHighlighted == highlighted) return;
    _keyboardHighlighted = highlighted;
    [self redrawHighlight];
}

- (void)redrawHighlight {
    const auto target = highlightedTarget(_row, _hoveredTarget, _keyboardHighlighted);
    _corvaneButton.contentTintColor = target ? NSColor.selectedMenuItemTextColor : NSColor.secondaryLabelColor;
    self.needsDisplay = YES;
}

- (void)updateTrackingAreas {
    [super updateTrackingAreas];
    if (_tracking) [self removeTrackingArea:_tracking];
    _tracking = [[NSTrackingArea alloc]
        initWithRect:NSZeroRect
             options:NSTrackingMouseEnteredAndExited | NSTrackingMouseMoved | NSTrackingActiveAlways | NSTrackingInVisibleRect
               owner:self
            userInfo:nil];
    [self addTrackingArea:_tracking];
}

- (void)hover:(NSEvent*)event {
    const NSPoint point = [self convertPoint:event.locationInWindow fromView:nil];
    const double width = NSWidth(self.bounds);
    const auto target = agentTargetAt(corvane::mac::isRightToLeft(self) ? width - point.x : point.x, width);
    if (target == _hoveredTarget) return;
    _hoveredTarget = target;
    [self redrawHighlight];
}

- (void)mouseEntered:(NSEvent*)event {
    [self hover:event];
}

- (void)mouseMoved:(NSEvent*)event {
    [self hover:event];
}

- (void)mouseExited:(NSEvent*)event {
    (void)event;
    _hoveredTarget.reset();
    [self redrawHighlight];
}

// ---- Choosing ----

- (void)harnessClicked:(id)sender {
    (void)sender;
    corvane::mac::chooseAfterClosing(_item, Activation{RowPart::harness, false});
}

- (void)corvaneClicked:(id)sender {
    (void)sender;
    corvane::mac::chooseAfterClosing(_item, Activation{RowPart::corvane, false});
}

// The release picks the part under the pointer (see ReleasePickedRowView).
- (void)mouseUp:(NSEvent*)event {
    const NSPoint point = [self convertPoint:event.locationInWindow fromView:nil];
    if (!NSPointInRect(point, self.bounds)) return;
    const double width = NSWidth(self.bounds);
    const auto target = agentTargetAt(corvane::mac::isRightToLeft(self) ? width - point.x : point.x, width);
    if (target == AgentTarget::corvane)
        [self corvaneClicked:nil];
    else if (target == AgentTarget::harness && [_harnessButton isEnabled])
        [self harnessClicked:nil];
}

// ---- Pulse ----

- (void)viewDidMoveToWindow {
    [super viewDidMoveToWindow];
    [self syncPulse];
}

- (void)syncPulse {
    NSString* key = toNS(PulseAnimation::key);
    [_iconView.layer removeAnimationForKey:key];
    if (!shouldPulse(_row, self.window != nil, _reduceMotion == YES)) return;
    CABasicAnimation* pulse = [CABasicAnimation animationWithKeyPath:@"opacity"];
    pulse.fromValue = @(PulseAnimation::fromOpacity);
    pulse.toValue = @(PulseAnimation::toOpacity);
    pulse.duration = PulseAnimation::durationSeconds;
    pulse.autoreverses = YES;
    pulse.repeatCount = HUGE_VALF;
    pulse.timingFunction = [CAMediaTimingFunction functionWithName:kCAMediaTimingFunctionEaseInEaseOut];
    [_iconView.layer addAnimation:pulse forKey:key];
}

// ---- Layout and drawing ----

- (AgentRowGeometry)geometry {
    std::optional<double> statusWidth;
    if (const auto status = agentStatusText(_row)) {
        statusWidth = [toNS(*status) sizeWithAttributes:@{NSFontAttributeName : corvane::mac::fontFor(FontRole::menu13)}]
                          .width;
    }
    const auto geometry = agentRowGeometry(NSWidth(self.bounds), NSHeight(self.bounds), statusWidth);
    return corvane::mac::isRightToLeft(self) ? corvane::mirrored(geometry, NSWidth(self.bounds)) : geometry;
}

- (void)layoutParts {
    const auto geometry = [self geometry];
    _harnessButton.frame = nsRect(geometry.harnessPart);
    _corvaneButton.frame = nsRect(geometry.corvaneButton);
    _iconView.frame = nsRect(geometry.icon);
}

- (void)resizeSubviewsWithOldSize:(NSSize)oldSize {
    [super resizeSubviewsWithOldSize:oldSize];
    [self layoutParts];
}

- (void)drawRect:(NSRect)dirtyRect {
    (void)dirtyRect;
    const auto geometry = [self geometry];
    const auto target = highlightedTarget(_row, _hoveredTarget, _keyboardHighlighted);
    if (target) {
        const corvane::Rect box = *target == AgentTarget::harness ? geometry.harnessHighlight : geometry.corvaneHighlight;
        [NSColor.selectedContentBackgroundColor setFill];
        [[NSBezierPath bezierPathWithRoundedRect:nsRect(box)
                                         xRadius:AgentRowGeometry::cornerRadius
                                         yRadius:AgentRowGeometry::cornerRadius] fill];
    }
    NSFont* font = corvane::mac::fontFor(FontRole::menu13);
    NSColor* titleColour = target ? NSColor.selectedMenuItemTextColor : NSColor.labelColor;
    NSColor* statusColour = target ? NSColor.selectedMenuItemTextColor : NSColor.secondaryLabelColor;
    // The status hugs the row's trailing side and the title its leading side, whichever way the
    // row reads.
    const bool rightToLeft = corvane::mac::isRightToLeft(self);
    if (const auto status = agentStatusText(_row); status && geometry.status)
        corvane::mac::drawLine(toNS(*status), nsRect(*geometry.status), font, statusColour,
                               rightToLeft ? NSTextAlignmentLeft : NSTextAlignmentRight);
    corvane::mac::drawLine(toNS(_row.corvane.title), nsRect(geometry.title), font, titleColour,
                           rightToLeft ? NSTextAlignmentRight : NSTextAlignmentLeft);
}

@end
