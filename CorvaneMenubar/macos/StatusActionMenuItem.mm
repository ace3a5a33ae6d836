#import "StatusActionMenuItem.h"

@implementation StatusActionMenuItem
@end
