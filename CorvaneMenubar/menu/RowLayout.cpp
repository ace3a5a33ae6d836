#include "RowLayout.h"

#include <algorithm>

#include "CliUpdateRow.h"

namespace corvane {
namespace {

using namespace rowmetrics;

// The title line's box: 18 high, 2 from the top; further lines follow at 16-point steps.
constexpr double titleY = 2, titleHeight = 18;
double lineY(std::size_t line) { return line == 0 ? titleY : titleY + titleHeight + extraLineHeight * double(line - 1); }

std::vector<std::string> linesOf(const std::optional<std::string>& text) {
    std::vector<std::string> lines;
    if (!text || text->empty()) return lines;
    std::size_t start = 0;
    for (std::size_t end; (end = text->find('\n', start)) != std::string::npos; start = end + 1)
        lines.push_back(text->substr(start, end - start));
    lines.push_back(text->substr(start));
    return lines;
}

double heightFor(std::size_t lines) { return lineHeight + extraLineHeight * double(lines > 0 ? lines - 1 : 0); }

// A mark (or none), a title, lines under it and a trailing note on the title line; the texts run
// from the mark to `right`.
struct Lines {
    std::optional<ColourRole> mark;
    std::string title;
    ColourRole titleColour = ColourRole::label;
    std::vector<std::string> below;
    std::optional<std::string> trailing;
    FontRole trailingFont = FontRole::system11;
};

RowLayout lay(const Lines& in, double width, double right, bool highlighted, const TextMeasure& measure) {
    RowLayout out;
    out.height = heightFor(1 + in.below.size());
    double x = inset;
    if (in.mark) {
        out.mark = MarkSlot{{inset, titleY + (titleHeight - markSize) / 2, markSize, markSize}, *in.mark};
        x += markSize + markGap;
    }
    auto colour = [&](ColourRole normal) { return highlighted ? ColourRole::selectedMenuItemText : normal; };
    double titleRight = right;
    std::optional<TextSlot> trailing;
    if (in.trailing && !in.trailing->empty()) {
        const double natural = std::min(measure.width(*in.trailing, in.trailingFont), std::max(right - x, 0.0));
        trailing = TextSlot{*in.trailing, {right - natural, titleY, natural, titleHeight}, in.trailingFont,
                            colour(ColourRole::secondaryLabel), TextAlign::trailing};
        titleRight -= natural + gap;
    }
    out.texts.push_back({in.title, {x, titleY, std::max(titleRight - x, 0.0), titleHeight}, FontRole::menu13,
                         colour(in.titleColour), TextAlign::leading});
    if (trailing) out.texts.push_back(*trailing);
    for (std::size_t i = 0; i < in.below.size(); ++i)
        out.texts.push_back({in.below[i], {x, lineY(i + 1), std::max(right - x, 0.0), extraLineHeight},
                             FontRole::system11, colour(ColourRole::secondaryLabel), TextAlign::leading});
    if (highlighted) out.highlight = Rect{4, 0, std::max(width - 8, 0.0), out.height};
    return out;
}

Lines linesOf(const HostedRow& row) {
    struct Visitor {
        Lines operator()(const hosted::Header& h) const {
            return {std::nullopt, h.title, ColourRole::label, linesOf(h.subtitle), h.trailing, FontRole::system11};
        }
        Lines operator()(const hosted::SectionLabel& s) const {
            return {std::nullopt, s.title, ColourRole::secondaryLabel, {}, std::nullopt, FontRole::system11};
        }
        Lines operator()(const hosted::StatusRow& s) const {
            // While re-checking every mark is grey and the title dims.
            return {s.checking ? ColourRole::systemGray : markColour(s.mark), s.title,
                    s.checking ? ColourRole::secondaryLabel : ColourRole::label, linesOf(s.subtitle), std::nullopt,
                    FontRole::system11};
        }
        Lines operator()(const hosted::ConnectionRow& c) const {
            return {markColour(c.mark), c.name, ColourRole::label, {}, c.state, FontRole::menu13};
        }
    };
    return std::visit(Visitor{}, row);
}

}  // namespace

ColourRole markColour(StatusMark mark) {
    switch (mark) {
        case StatusMark::ok: return ColourRole::systemGreen;
        case StatusMark::problem: return ColourRole::systemRed;
        case StatusMark::warn: return ColourRole::systemOrange;
        case StatusMark::paused: return ColourRole::systemYellow;
        case StatusMark::muted: break;
    }
    return ColourRole::systemGray;
}

ColourRole markColour(ConnectionMark mark) {
    switch (mark) {
        case ConnectionMark::ok: return ColourRole::systemGreen;
        case ConnectionMark::warn: return ColourRole::systemOrange;
        case ConnectionMark::muted: break;
    }
    return ColourRole::systemGray;
}

RowLayout mirrored(RowLayout layout, double width) {
    auto flip = [width](Rect& r) { r.x = width - r.x - r.width; };
    if (layout.highlight) flip(*layout.highlight);
    if (layout.mark) flip(layout.mark->frame);
    for (auto& text : layout.texts) {
        flip(text.frame);
        text.align = text.align == TextAlign::leading ? TextAlign::trailing : TextAlign::leading;
    }
    if (layout.dismissButton) flip(*layout.dismissButton);
    if (layout.spinner) flip(*layout.spinner);
    return layout;
}

RowLayout atTextColumn(RowLayout layout, double column) {
    std::optional<double> edge;
    for (const auto& text : layout.texts)
        if (text.align == TextAlign::leading) edge = std::min(edge.value_or(text.frame.x), text.frame.x);
    if (!edge || *edge == column) return layout;
    const double shift = column - *edge;
    for (auto& text : layout.texts) {
        if (text.align != TextAlign::leading) continue;
        text.frame.x += shift;
        text.frame.width = std::max(text.frame.width - shift, 0.0);
    }
    if (layout.mark) layout.mark->frame.x += shift;
    return layout;
}

RowLayout hostedRowLayout(const HostedRow& row, double width, const TextMeasure& measure) {
    auto out = lay(linesOf(row), width, width - inset, false, measure);
    if (std::holds_alternative<hosted::Header>(row)) out.texts.front().bold = true;
    if (std::holds_alternative<hosted::SectionLabel>(row)) {
        // A section label is a small caption: 11-point text centred in a 20-point row.
        out.height = sectionHeight;
        out.texts.front().font = FontRole::system11;
        out.texts.front().frame.y = (sectionHeight - extraLineHeight) / 2;
        out.texts.front().frame.height = extraLineHeight;
    }
    return out;
}

RowLayout dismissibleRowLayout(const DismissibleRowContent& row, double width, bool highlighted,
                               const TextMeasure& measure) {
    const double buttonX = width - inset - buttonSize;
    auto out = lay(linesOf(row.content), width, buttonX - gap, highlighted, measure);
    if (row.dismiss.isEnabled) out.dismissButton = Rect{buttonX, titleY + (titleHeight - buttonSize) / 2, buttonSize, buttonSize};
    return out;
}

RowLayout statusActionRowLayout(const NativeMenuItem& item, double width, const TextMeasure& measure) {
    Lines in;
    const auto* status = std::get_if<role::StatusAction>(&item.role());
    const auto& runs = item.attributedTitle();
    in.title = runs && !runs->runs.empty() ? runs->runs.front().text : item.title();
    if (runs)
        for (std::size_t i = 1; i < runs->runs.size(); ++i) {
            auto lines = linesOf(runs->runs[i].text);
            for (auto& line : lines)
                if (!line.empty()) in.below.push_back(std::move(line));
        }
    if (status && status->actionEnabled) in.trailing = status->actionTitle;
    const bool dismissible = status && status->dismiss && status->dismiss->isEnabled;
    const double buttonX = width - inset - buttonSize;
    auto out = lay(in, width, dismissible ? buttonX - gap : width - inset, item.isHighlighted(), measure);
    if (dismissible) out.dismissButton = Rect{buttonX, titleY + (titleHeight - buttonSize) / 2, buttonSize, buttonSize};
    return out;
}

RowLayout cliUpdateRowLayout(const CliUpdate& update, double width) {
    const auto state = cliUpdateViewState(update);
    const auto geometry = cliUpdateLayout(width, state.spinnerVisible);
    RowLayout out;
    out.height = cliUpdateRowHeight;
    out.texts.push_back({state.title, geometry.title, FontRole::menu13,
                         state.titlePrimary ? ColourRole::label : ColourRole::secondaryLabel, TextAlign::leading});
    out.texts.push_back(
        {state.subtitle, geometry.subtitle, FontRole::system11, ColourRole::secondaryLabel, TextAlign::leading});
    if (state.spinnerVisible) out.spinner = geometry.spinner;
    return out;
}

}  // namespace corvane
