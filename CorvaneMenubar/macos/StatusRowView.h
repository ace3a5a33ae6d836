#pragma once

#import "HostedRowView.h"

// A status: a coloured mark, a title and the subtitle's lines; while the app re-checks, the mark and the text are dimmed.
@interface StatusRowView : HostedRowView
@end
