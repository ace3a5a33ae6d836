#import "CliUpdateView.h"

#import "AppKitText.h"
#import "RowLayoutDrawing.h"

#include "menu/CliUpdateRow.h"
#include "menu/RowLayout.h"

using corvane::cliUpdateRowLayout;
using corvane::cliUpdateSpinnerAnimates;
using corvane::CliUpdateViewContent;
using corvane::cliUpdateViewHeight;
using corvane::cliUpdateViewWidth;
using corvane::TextSlot;
using corvane::updatingCliAccessibilityLabel;
using corvane::mac::toNS;

namespace {
NSTextField* label() {
    NSTextField* field = [NSTextField labelWithString:@""];
    field.lineBreakMode = NSLineBreakByTruncatingTail;
    return field;
}

void show(NSTextField* field, const TextSlot& slot) {
    field.stringValue = toNS(slot.text);
    field.toolTip = toNS(slot.text);
    field.font = corvane::mac::fontFor(slot.font);
    field.textColor = corvane::mac::colourFor(slot.colour);
    field.frame = corvane::mac::nsRect(slot.frame);
    field.alignment = slot.align == corvane::TextAlign::trailing ? NSTextAlignmentRight : NSTextAlignmentLeft;
}
}  // namespace

@implementation CliUpdateView {
    CliUpdateViewContent _content;
    NSTextField* _titleLabel;
    NSTextField* _subtitleLabel;
    NSProgressIndicator* _spinner;
}

- (instancetype)initWithContent:(const CliUpdateViewContent&)content {
    if ((self = [super initWithFrame:NSMakeRect(0, 0, cliUpdateViewWidth, cliUpdateViewHeight)])) {
        self.autoresizingMask = NSViewWidthSizable;
        _titleLabel = label();
        _subtitleLabel = label();
        _spinner = [[NSProgressIndicator alloc] initWithFrame:NSZeroRect];
        _spinner.style = NSProgressIndicatorStyleSpinning;
        _spinner.controlSize = NSControlSizeSmall;
        _spinner.indeterminate = YES;
        _spinner.displayedWhenStopped = YES;
        _spinner.accessibilityLabel = toNS(updatingCliAccessibilityLabel);
        [self addSubview:_titleLabel];
        [self addSubview:_subtitleLabel];
        [self addSubview:_spinner];
        [self updateContent:content];
    }
    return self;
}

- (BOOL)isFlipped {
    return YES;
}

- (void)updateContent:(const CliUpdateViewContent&)content {
    _content = content;
    [self layoutParts];
    [self updateAnimation];
}

- (void)layoutParts {
    const auto layout = corvane::mac::placedFor(self, cliUpdateRowLayout(_content.model, NSWidth(self.bounds)));
    if (layout.texts.size() >= 2) {
        show(_titleLabel, layout.texts[0]);
        show(_subtitleLabel, layout.texts[1]);
    }
    _spinner.hidden = layout.spinner ? NO : YES;
    if (layout.spinner) _spinner.frame = corvane::mac::nsRect(*layout.spinner);
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
    if (cliUpdateSpinnerAnimates(![_spinner isHidden], self.window != nil, _content.reduceMotion))
        [_spinner startAnimation:nil];
    else
        [_spinner stopAnimation:nil];
}

@end
