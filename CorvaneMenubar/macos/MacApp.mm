#import "MacApp.h"

#import <AppKit/AppKit.h>

#include <memory>
#include <string>
#include <vector>

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

#include "ActionRunner.h"
#include "AppDelegate.h"
#include "ClientLog.h"
#include "IconRenderer.h"
#include "LaunchAtLogin.h"
#include "LaunchAtLoginSwitch.h"
#include "MacDecisions.h"
#include "Variant.h"

using namespace corvane;
using corvane::mac::fromNS;
using corvane::mac::toNS;

// Forwards the application's launch and termination to the portable delegate.
@interface CorvaneApplicationDelegate : NSObject <NSApplicationDelegate>
- (instancetype)initWithDelegate:(std::shared_ptr<AppDelegate>)delegate loop:(corvane::mac::MacMainLoop*)loop;
@end

@implementation CorvaneApplicationDelegate {
    std::shared_ptr<AppDelegate> _delegate;
    corvane::mac::MacMainLoop* _loop;
}

- (instancetype)initWithDelegate:(std::shared_ptr<AppDelegate>)delegate loop:(corvane::mac::MacMainLoop*)loop {
    if ((self = [super init])) {
        _delegate = std::move(delegate);
        _loop = loop;
    }
    return self;
}

- (void)applicationDidFinishLaunching:(NSNotification*)notification {
    (void)notification;
    _delegate->applicationDidFinishLaunching();
}

- (void)applicationWillTerminate:(NSNotification*)notification {
    (void)notification;
    _delegate->applicationWillTerminate();
    _loop->stop();
}

@end

namespace corvane::mac {
namespace {

// The bundle's Info keys that the app reads, with their property-list types kept (only text
// counts as a value).
InfoDictionary bundleInfoDictionary() {
    InfoDictionary info;
    NSDictionary* bundle = NSBundle.mainBundle.infoDictionary;
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

void systemLog(std::string_view line) { NSLog(@"%@", toNS(line)); }

void showAboutPanel() {
    [NSApp activateIgnoringOtherApps:YES];
    NSAttributedString* credits = [[NSAttributedString alloc]
        initWithString:toNS(aboutCreditsText)
            attributes:@{NSLinkAttributeName : [NSURL URLWithString:toNS(privacyPageUrl)]}];
    [NSApp orderFrontStandardAboutPanelWithOptions:@{NSAboutPanelOptionCredits : credits}];
}

}  // namespace

int runMacApp(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    for (const auto& argument : arguments) {
        if (argument != unregisterLoginItemFlag) continue;
        UserDefaultsStore defaults;
        AppServiceLoginItem loginItem;
        return LaunchAtLoginSwitch(loginItem, systemLog).unregisterForUninstall(defaults);
    }

    @autoreleasepool {
        NSApplication* application = NSApplication.sharedApplication;
        const auto info = bundleInfoDictionary();
        const Variant variant = Variant::detect(info, currentProcessEnvironment());
        const std::string version = appVersion(info);

        // The seams live as long as the process: AppKit ends it with exit() after termination.
        static MacMainLoop loop;
        static GcdBackgroundWork work;
        static VnodeDirectoryWatcher watcher;
        static MacStatusItem statusItem;
        static MacMenuFactory factory;
        static FontTextMeasure measure;
        static MacEffects effects;
        static AppServiceLoginItem loginItem;
        static UserDefaultsStore defaults;
        static MacAppearance appearance([] { return statusItem.button(); });
        static ClientLog log(logDirectory(fromNS(NSHomeDirectory()), variant.appEnv, std::nullopt, true), version,
                             variant.appEnv, macOSVersionText(runningOsVersion()));

        AppOperations operations;
        operations.bundlePath = fromNS(NSBundle.mainBundle.bundlePath);
        operations.appVersion = version;
        operations.iconImage = IconRenderer::image;
        operations.showAbout = showAboutPanel;
        operations.quit = [] { [NSApp terminate:nil]; };
        operations.systemLog = systemLog;
        auto delegate = AppDelegate::create(
            AppSeams{loop, work, watcher, statusItem, factory, measure, effects, loginItem, defaults, appearance},
            variant, log, ActionRunner::create(loop, work, effects), std::move(operations));

        static CorvaneApplicationDelegate* applicationDelegate =
            [[CorvaneApplicationDelegate alloc] initWithDelegate:delegate loop:&loop];
        application.delegate = applicationDelegate;
        [application setActivationPolicy:NSApplicationActivationPolicyAccessory];
        [application run];
    }
    return 0;
}

}  // namespace corvane::mac
