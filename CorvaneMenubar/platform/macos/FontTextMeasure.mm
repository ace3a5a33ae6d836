#import "FontTextMeasure.h"

#import "AppKitText.h"

namespace corvane::mac {

double FontTextMeasure::width(std::string_view utf8, FontRole role) const {
    @autoreleasepool {
        NSSize size = [toNS(utf8) sizeWithAttributes:@{NSFontAttributeName : fontFor(role)}];
        return size.width;
    }
}

std::vector<std::string_view> FontTextMeasure::clusters(std::string_view utf8) const {
    return composedCharacterSequences(utf8);
}

std::vector<std::string_view> composedCharacterSequences(std::string_view utf8) {
    std::vector<std::string_view> pieces;
    if (utf8.empty()) return pieces;
    @autoreleasepool {
        NSString* text = [[NSString alloc] initWithBytes:utf8.data() length:utf8.size() encoding:NSUTF8StringEncoding];
        if (!text) return graphemeClusters(utf8);
        __block std::size_t offset = 0;
        auto* out = &pieces;  // blocks capture C++ locals as const copies
        [text enumerateSubstringsInRange:NSMakeRange(0, text.length)
                                 options:NSStringEnumerationByComposedCharacterSequences
                              usingBlock:^(NSString* piece, NSRange, NSRange, BOOL*) {
                                  const std::size_t bytes = [piece lengthOfBytesUsingEncoding:NSUTF8StringEncoding];
                                  out->push_back(utf8.substr(offset, bytes));
                                  offset += bytes;
                              }];
        if (offset < utf8.size()) pieces.push_back(utf8.substr(offset));
    }
    return pieces;
}

}  // namespace corvane::mac
