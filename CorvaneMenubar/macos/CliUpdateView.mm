#import "CliUpdateView.h"

#import "AppKitText.h"

#include "CliUpdateRow.h"

using namespace corvane;
using corvane::mac::toNS;

namespace {
NSRect nsRect(const Rect& rect) { return NSMakeRect(rect.x, rect.y, rect.width, rect.height); }

NSTextField* label(NSFont* font) {
    NSTextField* field = [NSTextField labelWithString:@""];
    field.font = font;
    field.lineBreakMode = NSLineBreakByTruncatingTail;
    return field;
}
}  // namespace

@implementation CliUpdateView {
    CliUpdate _model;
    NSTextField* _titleLabel;
    NSTextField* _subtitleLabel;
    NSProgressIndicator* _spinner;
}

- (instancetype)initWithModel:(const CliUpdate&)model {
    if ((self = [super initWithFrame:NSMakeRect(0, 0, cliUpdateViewWidth, cliUpdateViewHeight)])) {
        self.autoresizingMask = NSViewWidthSizable;
        _titleLabel = label(corvane::mac::fontFor(FontRole::menu13));
        _subtitleLabel = label(corvane::mac::fontFor(FontRole::system11));
        _subtitleLabel.textColor = NSColor.secondaryLabelColor;
        _spinner = [[NSProgressIndicator alloc] initWithFrame:NSZeroRect];
        _spinner.style = NSProgressIndicatorStyleSpinning;
        _spinner.controlSize = NSControlSizeSmall;
        _spinner.indeterminate = YES;
        _spinner.displayedWhenStopped = YES;
        _spinner.accessibilityLabel = toNS(updatingCliAccessibilityLabel);
        [self addSubview:_titleLabel];
        [self addSubview:_subtitleLabel];
        [self addSubview:_spinner];
        [self updateModel:model];
    }
    return self;
}

- (BOOL)isFlipped {
    return YES;
}

- (void)updateModel:(const CliUpdate&)model {
    _model = model;
    const auto state = cliUpdateViewState(model);
    _titleLabel.stringValue = toNS(state.title);
    _titleLabel.toolTip = toNS(state.title);
    _titleLabel.textColor = state.titlePrimary ? NSColor.labelColor : NSColor.secondaryLabelColor;
    _subtitleLabel.stringValue = toNS(state.subtitle);
    _subtitleLabel.toolTip = toNS(state.subtitle);
    _spinner.hidden = state.spinnerVisible ? NO : YES;
    [self layoutParts];
    [self updateAnimation];
}

- (void)layoutParts {
    const auto layout = cliUpdateLayout(NSWidth(self.bounds), ![_spinner isHidden]);
    _titleLabel.frame = nsRect(layout.title);
    _subtitleLabel.frame = nsRect(layout.subtitle);
    _spinner.frame = nsRect(layout.spinner);
}

- (void)resizeSubviewsWithOldSize:(NSSize)oldSize {
    [super resizeSubviewsWithOldSize:oldSize];
    [self layoutParts];
}

- (void)viewDidMoveToWindow {
    [super viewDidMoveToWindow];
    [self updateAnimation];
}

- (void)updateAnimation {
    const bool animates = cliUpdateSpinnerAnimates(![_spinner isHidden], self.window != nil,
                                                   NSWorkspace.sharedWorkspace.accessibilityDisplayShouldReduceMotion);
    if (animates)
        [_spinner startAnimation:nil];
    else
        [_spinner stopAnimation:nil];
}

@end
