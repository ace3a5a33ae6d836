// Planted mistakes, each with the error or warning it must produce (clang -verify: every expected
// diagnostic must be reported, and no other error or warning; the real files run with -Werror, so
// each warning here is an error there). If the check stops reporting one of them, the check has
// gone blind and ci-check.sh fails.
#import <AppKit/AppKit.h>
#import <QuartzCore/QuartzCore.h>
#import <ServiceManagement/ServiceManagement.h>
#include <dispatch/dispatch.h>

#include <memory>
#include <string>
#include <vector>

#include "menu/VectorImage.h"
#include "seams/MainLoop.h"

// C++ name lookup in bridge code: an Objective-C overload in the shell's namespace hides the
// portable function of the same name.
namespace corvane {
inline long long errorCode(long long number) { return number; }
namespace mac {
long long errorCode(NSDictionary *errorInfo);
inline long long bridged() { return errorCode(-1743LL); }  // expected-error {{no matching function for call to 'errorCode'}}
}  // namespace mac
}  // namespace corvane

static void Mistakes(NSStatusItem *statusItem, NSMenu *menu, NSView *view, NSImage *image, std::unique_ptr<std::string> owned) {
    // A misspelled selector or property.
    NSMenuItem *item = [menu addItemWithTitle:@"Quit" action:@selector(terminate:) keyEquivalent:@"q"];
    item.representedObjet = @1;  // expected-error {{property 'representedObjet' not found}}
    [menu cancelTracing];        // expected-error {{no visible @interface for 'NSMenu' declares the selector 'cancelTracing'}}
    [SMAppService.mainAppService registerAndReturnError];  // expected-error {{no visible @interface for 'SMAppService' declares the selector 'registerAndReturnError'}}

    // A wrong argument type.
    [statusItem.button setImage:@"icon"];  // expected-error {{cannot initialize a parameter of type 'NSImage *' with an rvalue of type 'NSString *'}}
    [[NSBezierPath bezierPath] appendBezierPathWithOvalInRect:NSMakePoint(0, 0)];  // expected-error {{no viable conversion}}
    NSMenuItem *bad = [[NSMenuItem alloc] initWithTitle:@"x" action:"quit:" keyEquivalent:@""];  // expected-error {{cannot initialize a parameter of type 'SEL'}}
    (void)bad;
    [view.layer addAnimation:@"corvane.pulse" forKey:@"opacity"];  // expected-error {{cannot initialize a parameter of type 'CAAnimation * _Nonnull' with an rvalue of type 'NSString *'}}
    dispatch_async(dispatch_get_main_queue(), ^(int x) { (void)x; });  // expected-error {{no matching function for call to 'dispatch_async'}}

    // A missing method or constant.
    if (SMAppService.mainAppService.status == SMAppServiceStatusEnable) {}  // expected-error {{use of undeclared identifier 'SMAppServiceStatusEnable'}}
    statusItem.length = NSVariableStatusItemLenght;  // expected-error {{use of undeclared identifier 'NSVariableStatusItemLenght'}}
    image.template = YES;  // expected-error {{expected unqualified-id}} (spell it [image setTemplate:YES] in ObjC++)

    // ARC misuse.
    [item release];  // expected-error {{ARC forbids explicit message send of 'release'}} expected-error {{'release' is unavailable}}
    void *raw = (void *)menu;  // expected-error {{requires a bridged cast}}
    (void)raw;

    // C++ inside blocks: captured locals are const copies; move-only values cannot be captured.
    std::vector<int> collected;
    dispatch_async(dispatch_get_main_queue(), ^{ collected.push_back(1); });  // expected-error {{no matching member function for call to 'push_back'}}
    dispatch_async(dispatch_get_main_queue(), ^{ (void)owned->size(); });  // expected-error {{call to deleted constructor}}
    corvane::Job job = [] {};
    [NSTimer scheduledTimerWithTimeInterval:1 repeats:YES block:job];  // expected-error {{no viable conversion}}

    // Blind spots: these pass here and need a Mac to notice.
    NSPoint p = [menu locationForSubmenu:menu];  // a GNUstep-only method: compiles here, not on macOS
    (void)p;
}

// The SDK's availability under the deployment target: an API newer than the target needs a
// guard, a deprecated one warns.
static void Availability(NSStatusItem *statusItem, NSImage *image) {
    [NSApp activate];  // expected-warning {{'activate' is only available on macOS 14.0 or newer}}
    if (@available(macOS 14, *)) [NSApp activate];  // guarded: no diagnostic
    [statusItem setImage:image];  // expected-warning {{'setImage:' is deprecated: first deprecated in macOS 10.14}}
}

// The globals of <MacTypes.h>, which every Mac translation unit sees: after `using namespace` at
// global scope, the portable geometry's names meet QuickDraw's.
using namespace corvane;
static void Converted(const Rect &rect) {  // expected-error {{reference to 'Rect' is ambiguous}}
    (void)rect;
}
