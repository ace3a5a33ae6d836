#pragma once

#import "HostedRowView.h"

// A section label: a small title in the secondary colour above a group of rows.
@interface SectionLabelView : HostedRowView
@end
