#import "MacShell.h"

#import <AppKit/AppKit.h>

#include <string>

#import "AppKitText.h"
#import "AppServiceLoginItem.h"
#import "FontTextMeasure.h"
#import "GcdBackgroundWork.h"
#import "MacAppearance.h"
#import "MacEffects.h"
#import "MacMainLoop.h"
#import "MacNativeMenu.h"
#import "MacStatusItem.h"
#import "UserDefaultsStore.h"
#import "VnodeDirectoryWatcher.h"

#include "app/ActionRunner.h"
#include "app/DesktopShell.h"
#include "app/MacDecisions.h"

using corvane::mac::fromNS;
using corvane::mac::toNS;

// The application's delegate. A termination AppKit asks for (logout, restart, shutdown, a quit Apple
// Event) runs the app's own termination order, then `finish` (the shell's bounded wait for the
// background work), and is answered "now": AppKit then leaves the process. Answering "cancel" would
// abort the user's logout.
@interface CorvaneApplicationDelegate : NSObject <NSApplicationDelegate>
@property(nonatomic) std::function<void()> terminate;
@property(nonatomic) std::function<void()> finish;
@end

@implementation CorvaneApplicationDelegate
- (NSApplicationTerminateReply)applicationShouldTerminate:(NSApplication*)sender {
    (void)sender;
    if (_terminate) _terminate();
    if (_finish) _finish();
    return NSTerminateNow;
}

// Nothing of the app is restored from a saved state; saying so keeps AppKit from decoding any
// insecurely (macOS 12 and later ask).
- (BOOL)applicationSupportsSecureRestorableState:(NSApplication*)app {
    (void)app;
    return YES;
}
@end

namespace corvane::mac {
namespace {

// Ends `[NSApp run]`. `stop:` takes effect after the next event; post one so the run loop returns
// now.
void stopApplication() {
    [NSApp stop:nil];
    NSEvent* wake = [NSEvent otherEventWithType:NSEventTypeApplicationDefined
                                       location:NSZeroPoint
                                  modifierFlags:0
                                      timestamp:0
                                   windowNumber:0
                                        context:nil
                                        subtype:0
                                          data1:0
                                          data2:0];
    [NSApp postEvent:wake atStart:YES];
}

class MacShell final : public Shell {
public:
    explicit MacShell(const ShellOptions& options) : loginItemOnly_(options.loginItemOnly) {}

    std::optional<InfoDictionary> infoDictionary() const override {
        // Only the keys the app reads, with their property-list types kept (only text counts).
        InfoDictionary info;
        NSDictionary* bundle = NSBundle.mainBundle.infoDictionary;
        if (!bundle) return std::nullopt;
        for (NSString* key in @[ toNS(environmentInfoKey), toNS(appVersionInfoKey) ]) {
            id value = bundle[key];
            if ([value isKindOfClass:[NSString class]])
                info[fromNS(key)] = fromNS(value);
            else if ([value isKindOfClass:[NSNumber class]])
                info[fromNS(key)] = [value doubleValue];
            else if (value)
                info[fromNS(key)] = nullptr;
        }
        return info;
    }

    std::string osVersion() const override { return macOSVersionText(runningOsVersion()); }

    bool prepare(const Variant&) override {
        if (!loginItemOnly_) [NSApplication sharedApplication];
        return true;
    }

    LoginItem& loginItem() override { return loginItem_; }
    Defaults& defaults() override { return defaults_; }

    AppSeams seams() override {
        return AppSeams{loop_, work_, watcher_, statusItem_, factory_, measure_, effects_, loginItem_, defaults_, appearance_};
    }

    std::string bundlePath() const override { return fromNS(NSBundle.mainBundle.bundlePath); }

    void showAbout() override {
        // In front of other apps first: an accessory app's panel would open behind them.
        effects_.activateApp();
        NSAttributedString* credits = [[NSAttributedString alloc]
            initWithString:toNS(aboutCreditsText)
                attributes:@{NSLinkAttributeName : [NSURL URLWithString:toNS(privacyPageUrl)]}];
        [NSApp orderFrontStandardAboutPanelWithOptions:@{NSAboutPanelOptionCredits : credits}];
    }

    void systemLog(std::string_view line) override { NSLog(@"%@", toNS(line)); }

    int exec(AppDelegate&, std::function<void()> terminate) override {
        NSApplication* application = NSApplication.sharedApplication;
        delegate_ = [[CorvaneApplicationDelegate alloc] init];
        delegate_.terminate = std::move(terminate);
        // AppKit leaves the process as soon as the delegate answers: give the jobs that stop the
        // running processes the time the app's own exit gives them.
        delegate_.finish = [this] { work_.waitUntilIdle(corvane::ActionRunner::stopWaitLimit); };
        application.delegate = delegate_;
        [application setActivationPolicy:NSApplicationActivationPolicyAccessory];
        [application run];
        return 0;
    }

    void quit() override {
        loop_.stop();
        if (NSApp.modalWindow) {
            // An alert is up: `stop:` now would end only its modal loop. Abort that loop (stopModal
            // only works from its own callouts) and end the main loop once back in it, which runs
            // in the default mode that a modal loop does not.
            [NSApp abortModal];
            NSTimer* later = [NSTimer timerWithTimeInterval:0
                                                    repeats:NO
                                                      block:^(NSTimer*) {
                                                          stopApplication();
                                                      }];
            [NSRunLoop.mainRunLoop addTimer:later forMode:NSDefaultRunLoopMode];
            return;
        }
        stopApplication();
    }

private:
    bool loginItemOnly_;
    MacMainLoop loop_;
    GcdBackgroundWork work_;
    VnodeDirectoryWatcher watcher_;
    MacStatusItem statusItem_;
    MacMenuFactory factory_;
    FontTextMeasure measure_;
    MacEffects effects_;
    AppServiceLoginItem loginItem_;
    UserDefaultsStore defaults_;
    MacAppearance appearance_{[this] { return statusItem_.button(); }};
    CorvaneApplicationDelegate* delegate_ = nil;
};

}  // namespace

std::unique_ptr<Shell> makeAppKitShell(const ShellOptions& options) { return std::make_unique<MacShell>(options); }

}  // namespace corvane::mac

namespace corvane {

std::string_view desktopShellName() { return "appkit"; }

std::unique_ptr<Shell> makeDesktopShell(const ShellOptions& options) { return mac::makeAppKitShell(options); }

}  // namespace corvane
