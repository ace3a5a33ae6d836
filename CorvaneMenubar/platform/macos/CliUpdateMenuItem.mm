#import "CliUpdateMenuItem.h"

@implementation CliUpdateMenuItem
@end
