#import "AppServiceLoginItem.h"

#import <ServiceManagement/ServiceManagement.h>

#import "AppKitText.h"
#include "app/MacDecisions.h"

namespace corvane::mac {

LoginItemStatus AppServiceLoginItem::status() const {
    return loginItemStatusFromService(static_cast<std::int64_t>(SMAppService.mainAppService.status));
}

std::optional<std::string> AppServiceLoginItem::registerApp() {
    NSError* error = nil;
    if ([SMAppService.mainAppService registerAndReturnError:&error]) return std::nullopt;
    return fromNS(error.localizedDescription);
}

std::optional<std::string> AppServiceLoginItem::unregisterApp() {
    NSError* error = nil;
    if ([SMAppService.mainAppService unregisterAndReturnError:&error]) return std::nullopt;
    return fromNS(error.localizedDescription);
}

}  // namespace corvane::mac
