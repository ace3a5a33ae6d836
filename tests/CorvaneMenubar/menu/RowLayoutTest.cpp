#include <gtest/gtest.h>

#include <sstream>

#include "support/MenuRows.h"
#include "menu/RowLayout.h"

namespace corvane {
namespace {

// "height mark@x,y:colour [text]x,y,width:colour … x@dismiss hl<width> spin@x"
std::string summary(const RowLayout& layout) {
    static const char* const colours[] = {"label", "secondary", "selected", "background", "green",
                                          "red",   "orange",    "yellow",   "gray"};
    std::ostringstream out;
    out << layout.height;
    if (layout.mark)
        out << " mark@" << layout.mark->frame.x << "," << layout.mark->frame.y << ":"
            << colours[static_cast<int>(layout.mark->colour)];
    for (const auto& t : layout.texts)
        out << " [" << t.text << "]" << t.frame.x << "," << t.frame.y << "," << t.frame.width << ":"
            << colours[static_cast<int>(t.colour)];
    if (layout.dismissButton) out << " x@" << layout.dismissButton->x << "," << layout.dismissButton->y;
    if (layout.highlight) out << " hl" << layout.highlight->width;
    if (layout.spinner) out << " spin@" << layout.spinner->x;
    return out.str();
}

TEST(RowLayout, EveryCustomRowKindAt300Points) {
    const FixedWidthTextMeasure measure(7);
    NativeMenuItem statusAction;
    statusAction.setAttributedTitle(AttributedTitle{{{"The Corvane CLI isn't installed", FontRole::menu13, false},
                                                     {"\nInstall the CLI.", FontRole::system11, true}}});
    statusAction.setRole(role::StatusAction{"status:x", 2, std::nullopt, "Copy Install Command"});
    const DismissibleRowContent dismissible{"status:Sync late", hosted::StatusRow{StatusMark::warn, "Sync late", {}, false},
                                            testrows::urlAction("Dismiss"), std::nullopt, std::nullopt};
    const std::vector<std::pair<RowLayout, std::string>> rows = {
        {hostedRowLayout(hosted::Header{"Corvane", "2 sessions", "now"}, 300, measure),
         "38 [Corvane]14,2,243:label [now]265,2,21:secondary [2 sessions]14,20,272:secondary"},
        {hostedRowLayout(hosted::SectionLabel{"Agents"}, 300, measure), "20 [Agents]14,2,272:secondary"},
        {hostedRowLayout(hosted::StatusRow{StatusMark::problem, "Sync late", "2 min\nagain", false}, 300, measure),
         "54 mark@14,7:red [Sync late]28,2,258:label [2 min]28,20,258:secondary [again]28,36,258:secondary"},
        {hostedRowLayout(hosted::StatusRow{StatusMark::ok, "Sync late", std::nullopt, true}, 300, measure),
         "22 mark@14,7:gray [Sync late]28,2,258:secondary"},  // re-checking
        {hostedRowLayout(hosted::ConnectionRow{ConnectionMark::ok, "GitHub", "connected"}, 300, measure),
         "22 mark@14,7:green [GitHub]28,2,187:label [connected]223,2,63:secondary"},
        {dismissibleRowLayout(dismissible, 300, true, measure),
         "22 mark@14,7:orange [Sync late]28,2,234:selected x@270,3 hl292"},
        {mirrored(dismissibleRowLayout(dismissible, 300, true, measure), 300),  // right to left
         "22 mark@278,7:orange [Sync late]38,2,234:selected x@14,3 hl292"},
        {statusActionRowLayout(statusAction, 300, measure),
         "38 [The Corvane CLI isn't installed]14,2,124:label [Copy Install Command]146,2,140:secondary "
         "[Install the CLI.]14,20,272:secondary"},
        {cliUpdateRowLayout(testrows::update(CliUpdatePhase::installing), 300),
         "36 [Corvane CLI 1.4.0 is available.]14,1,246:secondary [Updating CLI\u2026]14,19,246:secondary spin@270"},
        // On the column of the platform's own items: the trailing note and the spinner stay put.
        {atTextColumn(hostedRowLayout(hosted::Header{"Corvane", "2 sessions", "now"}, 300, measure), 28),
         "38 [Corvane]28,2,229:label [now]265,2,21:secondary [2 sessions]28,20,258:secondary"},
        {atTextColumn(hostedRowLayout(hosted::StatusRow{StatusMark::ok, "Synced", std::nullopt, false}, 300, measure), 22),
         "22 mark@8,7:green [Synced]22,2,264:label"},
        {mirrored(atTextColumn(cliUpdateRowLayout(testrows::update(CliUpdatePhase::installing), 300), 28), 300),
         "36 [Corvane CLI 1.4.0 is available.]40,1,232:secondary [Updating CLI\u2026]40,19,232:secondary spin@14"},
    };
    for (const auto& [layout, expected] : rows) EXPECT_EQ(summary(layout), expected);
    // Heights agree with the ones the builder compares rows by.
    EXPECT_EQ(rowHeight(HostedRowContent{hosted::StatusRow{StatusMark::ok, "a", "b\nc", false}}), 54);
    EXPECT_EQ(hostedRowLayout(hosted::ConnectionRow{}, 20, measure).texts[0].frame.width, 0);  // never negative
}

}  // namespace
}  // namespace corvane
