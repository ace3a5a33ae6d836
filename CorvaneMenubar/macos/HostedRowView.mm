#import "HostedRowView.h"

#import "ConnectionRowView.h"
#import "HeaderRowView.h"
#import "SectionLabelView.h"
#import "StatusRowView.h"

#include "MenuBuilder.h"

@implementation HostedRowView {
    corvane::HostedRow _row;
}

+ (HostedRowView*)viewForRow:(const corvane::HostedRow&)row {
    Class kind = std::visit(
        [](const auto& r) -> Class {
            using R = std::decay_t<decltype(r)>;
            if constexpr (std::is_same_v<R, corvane::hosted::Header>) return [HeaderRowView class];
            else if constexpr (std::is_same_v<R, corvane::hosted::SectionLabel>) return [SectionLabelView class];
            else if constexpr (std::is_same_v<R, corvane::hosted::StatusRow>) return [StatusRowView class];
            else return [ConnectionRowView class];
        },
        row);
    return [[kind alloc] initWithRow:row];
}

- (instancetype)initWithRow:(const corvane::HostedRow&)row {
    if ((self = [super initWithFrame:NSMakeRect(0, 0, corvane::menuMinimumWidth, corvane::rowHeight(row))])) {
        _row = row;
        self.autoresizingMask = NSViewWidthSizable;
        self.toolTip = [[NSString alloc] initWithUTF8String:corvane::plainText(row).c_str()];
    }
    return self;
}

- (BOOL)showRow:(const corvane::HostedRow&)row {
    if (row.index() != _row.index()) return NO;
    _row = row;
    [self setFrameSize:NSMakeSize(NSWidth(self.frame), corvane::rowHeight(row))];
    self.toolTip = [[NSString alloc] initWithUTF8String:corvane::plainText(row).c_str()];
    self.needsDisplay = YES;
    return YES;
}

- (const corvane::HostedRow&)hostedRow {
    return _row;
}

- (BOOL)isFlipped {
    return YES;
}

@end

namespace corvane::mac {

std::vector<std::string> subtitleLines(const std::optional<std::string>& subtitle) {
    std::vector<std::string> lines;
    if (!subtitle || subtitle->empty()) return lines;
    std::size_t start = 0;
    while (true) {
        const auto end = subtitle->find('\n', start);
        lines.push_back(subtitle->substr(start, end == std::string::npos ? std::string::npos : end - start));
        if (end == std::string::npos) break;
        start = end + 1;
    }
    return lines;
}

NSRect firstLineRect(double x, double right) { return NSMakeRect(x, 2.5, std::max(right - x, 0.0), 17); }

NSRect subtitleLineRect(std::size_t index, double x, double right) {
    return NSMakeRect(x, 21 + 16 * static_cast<double>(index), std::max(right - x, 0.0), 15);
}

void drawMark(NSColor* colour) {
    [colour setFill];
    [[NSBezierPath bezierPathWithOvalInRect:NSMakeRect(rowTextX, 7, 8, 8)] fill];
}

NSColor* markColour(StatusMark mark) {
    switch (mark) {
        case StatusMark::ok: return NSColor.systemGreenColor;
        case StatusMark::problem: return NSColor.systemRedColor;
        case StatusMark::warn: return NSColor.systemOrangeColor;
        case StatusMark::paused: return NSColor.systemYellowColor;
        case StatusMark::muted: return NSColor.tertiaryLabelColor;
    }
    return NSColor.tertiaryLabelColor;
}

NSColor* markColour(ConnectionMark mark) {
    switch (mark) {
        case ConnectionMark::ok: return NSColor.systemGreenColor;
        case ConnectionMark::warn: return NSColor.systemOrangeColor;
        case ConnectionMark::muted: return NSColor.tertiaryLabelColor;
    }
    return NSColor.tertiaryLabelColor;
}

}  // namespace corvane::mac
