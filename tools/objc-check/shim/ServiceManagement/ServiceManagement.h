// SMAppService (macOS 13) declarations for syntax checking on Linux.
#ifndef MACCOMPAT_SERVICEMANAGEMENT_H
#define MACCOMPAT_SERVICEMANAGEMENT_H
#import <Foundation/Foundation.h>
#include "../ShimOnly.h"

NS_ASSUME_NONNULL_BEGIN

typedef NS_ENUM(NSInteger, SMAppServiceStatus) {
    SMAppServiceStatusNotRegistered SHIM_ONLY = 0,
    SMAppServiceStatusEnabled SHIM_ONLY = 1,
    SMAppServiceStatusRequiresApproval SHIM_ONLY = 2,
    SMAppServiceStatusNotFound SHIM_ONLY = 3,
};

__attribute__((availability(macos, introduced = 13.0)))
@interface SMAppService : NSObject
+ (SMAppService *)loginItemServiceWithIdentifier:(NSString *)identifier SHIM_ONLY;
@property (class, readonly) SMAppService *mainAppService SHIM_ONLY;
+ (SMAppService *)agentServiceWithPlistName:(NSString *)plistName SHIM_ONLY;
+ (SMAppService *)daemonServiceWithPlistName:(NSString *)plistName SHIM_ONLY;
- (BOOL)registerAndReturnError:(NSError **)error SHIM_ONLY;
- (BOOL)unregisterAndReturnError:(NSError **)error SHIM_ONLY;
- (void)unregisterWithCompletionHandler:(void (^)(NSError *_Nullable error))handler SHIM_ONLY;
@property (readonly) SMAppServiceStatus status SHIM_ONLY;
+ (SMAppServiceStatus)statusForLegacyURL:(NSURL *)url SHIM_ONLY;
+ (void)openSystemSettingsLoginItems SHIM_ONLY;
@end

NS_ASSUME_NONNULL_END
#endif
