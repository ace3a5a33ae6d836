#import "MacAppearance.h"

#import "AppKitText.h"
#include "app/MacDecisions.h"

static void* const CorvaneAppearanceContext = (void*)&CorvaneAppearanceContext;

@interface CorvaneAppearanceObserver : NSObject
- (instancetype)initWithChange:(corvane::Job)onChange;
@end

@implementation CorvaneAppearanceObserver {
    corvane::Job _onChange;
}

- (instancetype)initWithChange:(corvane::Job)onChange {
    if ((self = [super init])) _onChange = std::move(onChange);
    return self;
}

- (void)observeValueForKeyPath:(NSString*)keyPath
                      ofObject:(id)object
                        change:(NSDictionary<NSKeyValueChangeKey, id>*)change
                       context:(void*)context {
    if (context != CorvaneAppearanceContext) {
        [super observeValueForKeyPath:keyPath ofObject:object change:change context:context];
        return;
    }
    [self changed:nil];
}

- (void)changed:(NSNotification*)notification {
    (void)notification;
    if (_onChange) _onChange();
}

@end

namespace corvane::mac {
namespace {

class MacAppearanceObservation final : public AppearanceObservation {
public:
    MacAppearanceObservation(NSStatusBarButton* button, Job onChange)
        : button_(button), observer_([[CorvaneAppearanceObserver alloc] initWithChange:std::move(onChange)]) {
        [button_ addObserver:observer_
                  forKeyPath:@"effectiveAppearance"
                     options:NSKeyValueObservingOptionNew
                     context:CorvaneAppearanceContext];
        [NSWorkspace.sharedWorkspace.notificationCenter addObserver:observer_
                                                           selector:@selector(changed:)
                                                               name:NSWorkspaceAccessibilityDisplayOptionsDidChangeNotification
                                                             object:nil];
    }
    ~MacAppearanceObservation() override {
        [button_ removeObserver:observer_ forKeyPath:@"effectiveAppearance" context:CorvaneAppearanceContext];
        [NSWorkspace.sharedWorkspace.notificationCenter removeObserver:observer_];
    }

private:
    NSStatusBarButton* button_;
    CorvaneAppearanceObserver* observer_;
};

}  // namespace

bool MacAppearance::menuBarIsDark() const {
    NSStatusBarButton* button = button_ ? button_() : nil;
    NSAppearance* appearance = button ? button.effectiveAppearance : NSApp.effectiveAppearance;
    NSAppearanceName best = [appearance bestMatchFromAppearancesWithNames:@[ NSAppearanceNameAqua, NSAppearanceNameDarkAqua ]];
    return isDarkAppearanceName(fromNS(best));
}

bool MacAppearance::reduceMotion() const { return NSWorkspace.sharedWorkspace.accessibilityDisplayShouldReduceMotion; }

std::unique_ptr<AppearanceObservation> MacAppearance::observe(Job onChange) {
    NSStatusBarButton* button = button_ ? button_() : nil;
    if (!button) return nullptr;
    return std::make_unique<MacAppearanceObservation>(button, std::move(onChange));
}

}  // namespace corvane::mac
