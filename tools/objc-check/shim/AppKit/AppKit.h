// Wraps GNUstep's <AppKit/AppKit.h>, then declares the macOS AppKit API that GNUstep lacks.
// Declarations only, with the macOS SDK's signatures (availability noted where the app's oldest
// system, macOS 13, needs a check); for syntax checking on Linux, never for linking. Every
// declaration carries SHIM_ONLY, so that the report names its uses.
#include_next <AppKit/AppKit.h>
#ifndef OBJC_CHECK_APPKIT_H
#define OBJC_CHECK_APPKIT_H
#import <Foundation/Foundation.h>
#import <QuartzCore/QuartzCore.h>
#include "../ShimOnly.h"

NS_ASSUME_NONNULL_BEGIN

// The 10.12 / 10.14 spellings of constants GNUstep knows by their older names.
enum : NSUInteger {
    NSCompositingOperationClear SHIM_ONLY = NSCompositeClear,
    NSCompositingOperationCopy SHIM_ONLY = NSCompositeCopy,
    NSCompositingOperationSourceOver SHIM_ONLY = NSCompositeSourceOver,
    NSCompositingOperationSourceIn SHIM_ONLY = NSCompositeSourceIn,
    NSCompositingOperationSourceOut SHIM_ONLY = NSCompositeSourceOut,
    NSCompositingOperationDestinationOver SHIM_ONLY = NSCompositeDestinationOver,
    NSCompositingOperationDestinationIn SHIM_ONLY = NSCompositeDestinationIn,
    NSCompositingOperationDestinationOut SHIM_ONLY = NSCompositeDestinationOut,
};
enum : NSUInteger {
    NSEventModifierFlagShift SHIM_ONLY = NSShiftKeyMask,
    NSEventModifierFlagControl SHIM_ONLY = NSControlKeyMask,
    NSEventModifierFlagOption SHIM_ONLY = NSAlternateKeyMask,
    NSEventModifierFlagCommand SHIM_ONLY = NSCommandKeyMask,
    NSEventModifierFlagDeviceIndependentFlagsMask SHIM_ONLY = NSDeviceIndependentModifierFlagsMask,
};
enum : NSUInteger {
    NSAlertStyleWarning SHIM_ONLY = NSWarningAlertStyle,
    NSAlertStyleInformational SHIM_ONLY = NSInformationalAlertStyle,
    NSAlertStyleCritical SHIM_ONLY = NSCriticalAlertStyle,
};
// Typed like the SDK's NS_ENUM constants, so that they convert to the properties' types.
static const NSLineJoinStyle NSLineJoinStyleMiter SHIM_ONLY = NSMiterLineJoinStyle;
static const NSLineJoinStyle NSLineJoinStyleRound SHIM_ONLY = NSRoundLineJoinStyle;
static const NSLineJoinStyle NSLineJoinStyleBevel SHIM_ONLY = NSBevelLineJoinStyle;
static const NSProgressIndicatorStyle NSProgressIndicatorStyleBar SHIM_ONLY = NSProgressIndicatorBarStyle;
static const NSProgressIndicatorStyle NSProgressIndicatorStyleSpinning SHIM_ONLY = NSProgressIndicatorSpinningStyle;

static const NSEventType NSEventTypeApplicationDefined SHIM_ONLY = NSApplicationDefined;  // macOS 10.12 name
static const NSBitmapImageFileType NSBitmapImageFileTypePNG SHIM_ONLY = NSPNGFileType;  // macOS 10.12 name

typedef NSString *NSAboutPanelOptionKey SHIM_ONLY;
APPKIT_EXPORT NSAboutPanelOptionKey const NSAboutPanelOptionCredits SHIM_ONLY API_AVAILABLE(macos(10.13));
APPKIT_EXPORT NSAboutPanelOptionKey const NSAboutPanelOptionApplicationIcon SHIM_ONLY API_AVAILABLE(macos(10.13));

@interface NSApplication (ObjcCheckShim)
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)activationPolicy SHIM_ONLY;
- (NSApplicationActivationPolicy)activationPolicy SHIM_ONLY;
- (void)activate SHIM_ONLY API_AVAILABLE(macos(14.0));
@property (readonly, strong) NSAppearance *effectiveAppearance SHIM_ONLY;
@end

@interface NSView (ObjcCheckShim)
- (void)updateTrackingAreas SHIM_ONLY;
- (void)addTrackingArea:(NSTrackingArea *)trackingArea SHIM_ONLY;
- (void)removeTrackingArea:(NSTrackingArea *)trackingArea SHIM_ONLY;
@property (readonly, copy) NSArray<NSTrackingArea *> *trackingAreas SHIM_ONLY;
@property BOOL wantsLayer SHIM_ONLY;
@property (nullable, strong) CALayer *layer SHIM_ONLY;
@property (readonly, strong) NSAppearance *effectiveAppearance SHIM_ONLY;
@property (nullable, readonly) NSMenuItem *enclosingMenuItem SHIM_ONLY;
@property BOOL needsLayout SHIM_ONLY;
- (void)layout SHIM_ONLY;
@property (nullable, copy) NSString *accessibilityLabel SHIM_ONLY;  // NSAccessibility
@end

@class NSImageSymbolConfiguration;

@interface NSImage (ObjcCheckShim)
+ (NSImage *)imageWithSize:(NSSize)size
                   flipped:(BOOL)drawingHandlerShouldBeCalledWithFlippedContext
            drawingHandler:(BOOL (^)(NSRect dstRect))drawingHandler SHIM_ONLY;
// macOS: @property (getter=isTemplate) BOOL template; `template` cannot be spelled in ObjC++.
- (BOOL)isTemplate SHIM_ONLY;
- (void)setTemplate:(BOOL)isTemplate SHIM_ONLY;
+ (nullable NSImage *)imageWithSystemSymbolName:(NSString *)name
                       accessibilityDescription:(nullable NSString *)description SHIM_ONLY;  // macOS 11
- (nullable NSImage *)imageWithSymbolConfiguration:(NSImageSymbolConfiguration *)configuration SHIM_ONLY;
@property (nullable, copy) NSString *accessibilityDescription SHIM_ONLY;
@end

SHIM_ONLY @interface NSImageSymbolConfiguration : NSObject <NSCopying>  // macOS 11
+ (instancetype)configurationWithPointSize:(CGFloat)pointSize weight:(CGFloat)weight SHIM_ONLY;
+ (instancetype)configurationWithPaletteColors:(NSArray<NSColor *> *)paletteColors SHIM_ONLY;  // macOS 12
@end

@interface NSFont (ObjcCheckShim)
+ (NSFont *)systemFontOfSize:(CGFloat)fontSize weight:(NSFontWeight)weight SHIM_ONLY API_AVAILABLE(macos(10.11));
@end

@interface NSColor (ObjcCheckShim)
@property (class, strong, readonly) NSColor *selectedContentBackgroundColor SHIM_ONLY;  // macOS 10.14
@end

@interface NSStatusItem (ObjcCheckShim)
@property (readonly, strong, nullable) NSStatusBarButton *button SHIM_ONLY;
@end

@interface NSMenu (ObjcCheckShim)
- (void)removeAllItems SHIM_ONLY;
- (void)cancelTracking SHIM_ONLY;
@property CGFloat minimumWidth SHIM_ONLY;
@property (nullable, readonly, strong) NSMenuItem *highlightedItem SHIM_ONLY;
@end

@interface NSMenuItem (ObjcCheckShim)
@property (nullable, strong) NSView *view SHIM_ONLY;
@property (readonly, getter=isHighlighted) BOOL highlighted SHIM_ONLY;
@end

@interface NSControl (ObjcCheckShim)
@property NSLineBreakMode lineBreakMode SHIM_ONLY;  // macOS 10.10
@end

@interface NSTextField (ObjcCheckShim)
+ (instancetype)labelWithString:(NSString *)stringValue SHIM_ONLY;  // macOS 10.12
@end

@interface NSButton (ObjcCheckShim)
+ (instancetype)buttonWithImage:(NSImage *)image target:(nullable id)target action:(nullable SEL)action SHIM_ONLY;
@property (nullable, copy) NSColor *contentTintColor SHIM_ONLY;  // macOS 10.14
@end

@interface NSTextAttachment (ObjcCheckShim)
@property (nullable, strong) NSImage *image SHIM_ONLY;  // macOS 10.11
@property NSRect bounds SHIM_ONLY;
@end

@interface NSPasteboard (ObjcCheckShim)
- (NSInteger)clearContents SHIM_ONLY;
@end

@interface NSWorkspace (ObjcCheckShim)
- (nullable NSURL *)URLForApplicationWithBundleIdentifier:(NSString *)bundleIdentifier SHIM_ONLY;
@property (readonly) BOOL accessibilityDisplayShouldReduceMotion SHIM_ONLY;  // macOS 10.12
@end
APPKIT_EXPORT NSString *const NSWorkspaceAccessibilityDisplayOptionsDidChangeNotification SHIM_ONLY;

NS_ASSUME_NONNULL_END
#endif
