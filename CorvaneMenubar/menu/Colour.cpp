#include "Colour.h"

#include <algorithm>
#include <cmath>

namespace corvane {
namespace {

double linear(int channel) {
    const double c = std::clamp(channel, 0, 255) / 255.0;
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

}  // namespace

double relativeLuminance(const Rgb& colour) {
    return 0.2126 * linear(colour.red) + 0.7152 * linear(colour.green) + 0.0722 * linear(colour.blue);
}

double contrastRatio(const Rgb& a, const Rgb& b) {
    const double la = relativeLuminance(a), lb = relativeLuminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

}  // namespace corvane
