#import "UserDefaultsStore.h"

#import "AppKitText.h"

namespace corvane::mac {

std::optional<std::string> UserDefaultsStore::data(std::string_view key) const {
    NSData* bytes = [NSUserDefaults.standardUserDefaults dataForKey:toNS(key)];
    if (!bytes) return std::nullopt;
    return std::string(static_cast<const char*>(bytes.bytes), bytes.length);
}

void UserDefaultsStore::setData(std::string_view key, std::string_view bytes) {
    [NSUserDefaults.standardUserDefaults setObject:[NSData dataWithBytes:bytes.data() length:bytes.size()]
                                            forKey:toNS(key)];
}

bool UserDefaultsStore::boolean(std::string_view key) const {
    id value = [NSUserDefaults.standardUserDefaults objectForKey:toNS(key)];
    return [value isKindOfClass:[NSNumber class]] && [value boolValue];
}

void UserDefaultsStore::setBoolean(std::string_view key, bool value) {
    [NSUserDefaults.standardUserDefaults setBool:value ? YES : NO forKey:toNS(key)];
}

void UserDefaultsStore::remove(std::string_view key) { [NSUserDefaults.standardUserDefaults removeObjectForKey:toNS(key)]; }

bool UserDefaultsStore::synchronize() { return [NSUserDefaults.standardUserDefaults synchronize]; }

}  // namespace corvane::mac
