// Wraps GNUstep's <Foundation/Foundation.h>, then declares the macOS Foundation API that GNUstep
// lacks or only stubs. Declarations only, with the macOS SDK's signatures. First the globals of
// <MacTypes.h>, which a Mac's Foundation brings in through CoreFoundation.
#include "../MacTypes.h"
#include_next <Foundation/Foundation.h>
#ifndef OBJC_CHECK_FOUNDATION_H
#define OBJC_CHECK_FOUNDATION_H
#include "../ShimOnly.h"

NS_ASSUME_NONNULL_BEGIN

FOUNDATION_EXPORT NSString *const NSAppleScriptErrorMessage SHIM_ONLY;
FOUNDATION_EXPORT NSString *const NSAppleScriptErrorNumber SHIM_ONLY;
FOUNDATION_EXPORT NSString *const NSAppleScriptErrorAppName SHIM_ONLY;
FOUNDATION_EXPORT NSString *const NSAppleScriptErrorBriefMessage SHIM_ONLY;
FOUNDATION_EXPORT NSString *const NSAppleScriptErrorRange SHIM_ONLY;

typedef struct {
    NSInteger majorVersion;
    NSInteger minorVersion;
    NSInteger patchVersion;
} NSOperatingSystemVersion SHIM_ONLY;

@interface NSProcessInfo (ObjcCheckShim)
@property (readonly) NSOperatingSystemVersion operatingSystemVersion SHIM_ONLY;
- (BOOL)isOperatingSystemAtLeastVersion:(NSOperatingSystemVersion)version SHIM_ONLY;
@end

typedef NSString *NSKeyValueChangeKey SHIM_ONLY;  // macOS 10.12

@interface NSObject (ObjcCheckShimKeyValueObserving)
- (void)removeObserver:(NSObject *)observer forKeyPath:(NSString *)keyPath context:(nullable void *)context SHIM_ONLY;
@end

typedef NSUInteger NSStringEnumerationOptions SHIM_ONLY;
enum : NSUInteger {
    NSStringEnumerationByLines SHIM_ONLY = 0,
    NSStringEnumerationByParagraphs SHIM_ONLY = 1,
    NSStringEnumerationByComposedCharacterSequences SHIM_ONLY = 2,
    NSStringEnumerationByWords SHIM_ONLY = 3,
    NSStringEnumerationBySentences SHIM_ONLY = 4,
    NSStringEnumerationReverse SHIM_ONLY = 1UL << 8,
    NSStringEnumerationSubstringNotRequired SHIM_ONLY = 1UL << 9,
    NSStringEnumerationLocalized SHIM_ONLY = 1UL << 10,
};

@interface NSString (ObjcCheckShim)
- (void)enumerateSubstringsInRange:(NSRange)range
                           options:(NSStringEnumerationOptions)opts
                        usingBlock:(void (^)(NSString *_Nullable substring, NSRange substringRange,
                                             NSRange enclosingRange, BOOL *stop))block SHIM_ONLY;
@end

@class NSAppleEventDescriptor;
@interface NSAppleScript (ObjcCheckShim)
- (nullable instancetype)initWithSource:(NSString *)source SHIM_ONLY;
@property (nullable, readonly, copy) NSString *source SHIM_ONLY;
@property (readonly, getter=isCompiled) BOOL compiled SHIM_ONLY;
- (BOOL)compileAndReturnError:(NSDictionary<NSString *, id> *_Nullable *_Nullable)errorInfo SHIM_ONLY;
- (NSAppleEventDescriptor *)executeAndReturnError:(NSDictionary<NSString *, id> *_Nullable *_Nullable)errorInfo SHIM_ONLY;
@end

@interface NSAppleEventDescriptor (ObjcCheckShim)
@property (readonly) Boolean booleanValue SHIM_ONLY;
@end


NS_ASSUME_NONNULL_END
#endif
