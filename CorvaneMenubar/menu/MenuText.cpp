#include "MenuText.h"

#include <vector>

namespace corvane {
namespace {

constexpr std::string_view ellipsis = "\u2026";

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    std::size_t start = 0;
    while (true) {
        const std::size_t end = text.find('\n', start);
        if (end == std::string_view::npos) {
            lines.push_back(text.substr(start));
            return lines;
        }
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
}

}  // namespace

std::string displayText(std::string_view text, const TextMeasure& measure) {
    if (text.size() <= displayTextLimit) return std::string(text);
    // Cut at a code point, then drop the window's last character: marks after the cut may belong
    // to it.
    std::size_t window = displayTextLimit - ellipsis.size() + 1;
    while (window > 0 && (static_cast<unsigned char>(text[window]) & 0xC0) == 0x80) --window;
    auto pieces = measure.clusters(text.substr(0, window));
    if (!pieces.empty()) pieces.pop_back();
    std::size_t end = 0;
    if (!pieces.empty()) end = static_cast<std::size_t>(pieces.back().data() - text.data()) + pieces.back().size();
    return std::string(text.substr(0, end)) + std::string(ellipsis);
}

std::string fittingText(std::string_view whole, FontRole font, const TextMeasure& measure) {
    const std::string capped = displayText(whole, measure);
    const std::string_view text = capped;
    if (measure.width(text, font) <= fittingWidthLimit) return capped;
    const auto characters = measure.clusters(text);
    // Each piece is a view into `text`, so a prefix of n characters ends where piece n-1 ends.
    auto prefix = [&](std::size_t n) {
        if (n == 0) return std::string();
        const auto& last = characters[n - 1];
        return std::string(text.substr(0, static_cast<std::size_t>(last.data() - text.data()) + last.size()));
    };
    std::size_t low = 0, high = characters.size();
    while (low < high) {
        const std::size_t mid = (low + high + 1) / 2;
        if (measure.width(prefix(mid) + std::string(ellipsis), font) <= fittingWidthLimit)
            low = mid;
        else
            high = mid - 1;
    }
    return prefix(low) + std::string(ellipsis);
}

AttributedTitle statusTitle(std::string_view title, const std::optional<std::string>& subtitle,
                            const TextMeasure& measure) {
    AttributedTitle out;
    out.runs.push_back({fittingText(title, FontRole::menu13, measure), FontRole::menu13, false});
    if (subtitle && !subtitle->empty()) {
        std::string lines;
        const std::string capped = displayText(*subtitle, measure);
        for (const auto line : linesOf(capped)) lines += "\n" + fittingText(line, FontRole::system11, measure);
        out.runs.push_back({std::move(lines), FontRole::system11, true});
    }
    return out;
}

int statusLineCount(const std::optional<std::string>& subtitle) {
    if (!subtitle || subtitle->empty()) return 1;
    return 1 + static_cast<int>(linesOf(*subtitle).size());
}

std::optional<std::string> shownToolTip(const NativeMenuItem& item) {
    if (!item.toolTip() || *item.toolTip() == item.title()) return std::nullopt;
    return item.toolTip();
}

}  // namespace corvane
