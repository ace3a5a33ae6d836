#include <gtest/gtest.h>

#include "NativeMenu.h"
#include "TextMeasure.h"
#include "headless/MemoryMenu.h"
#include "headless/MenuTreeJson.h"

namespace corvane {
namespace {

TEST(TextMeasure, ClustersJoinMarksSequencesAndFlags) {
    const std::vector<std::pair<std::string, std::vector<std::string>>> rows = {
        {"", {}},
        {"abc", {"a", "b", "c"}},
        {"e\u0301x", {"e\u0301", "x"}},                                     // combining acute
        {"\u2026", {"\u2026"}},                                             // one ellipsis
        {"\U0001F469\u200D\U0001F4BB!", {"\U0001F469\u200D\U0001F4BB", "!"}},  // ZWJ sequence
        {"\U0001F44D\U0001F3FD", {"\U0001F44D\U0001F3FD"}},                 // skin tone
        {"\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7", {"\U0001F1E9\U0001F1EA", "\U0001F1EB\U0001F1F7"}},  // two flags
        {"\u2764\uFE0F", {"\u2764\uFE0F"}},                                 // variation selector
        {"a\xff" "b", {"a", "\xff", "b"}},                                  // stray byte
        {"\xe2\x80", {"\xe2", "\x80"}},                                     // truncated sequence
        {"\xc0\xaf", {"\xc0", "\xaf"}},                                     // overlong form
    };
    for (const auto& [text, clusters] : rows) {
        const auto got = graphemeClusters(text);
        EXPECT_EQ(std::vector<std::string>(got.begin(), got.end()), clusters) << text;
    }
    EXPECT_EQ(FixedWidthTextMeasure(7).width("e\u0301\u2026", FontRole::system11), 14.0);
}

TEST(NativeMenu, InsertingKeepsOneParentAndMovesKeepHighlight) {
    MemoryMenuFactory factory;
    auto first = factory.makeMenu(), second = factory.makeMenu();
    auto a = factory.makeItem(), b = factory.makeItem(), c = factory.makeItem();
    for (const auto& item : {a, b, c}) first->append(item);
    first->reportHighlight(c.get());
    first->move(2, 0);
    EXPECT_EQ(first->items(), (std::vector<NativeMenu::ItemPtr>{c, a, b}));
    EXPECT_EQ(first->highlightedItem(), c.get());

    second->insert(a, 5);  // taken out of `first`, clamped to the end
    EXPECT_EQ(a->menu(), second.get());
    EXPECT_EQ(first->items(), (std::vector<NativeMenu::ItemPtr>{c, b}));
    first->remove(*c);
    EXPECT_EQ(first->highlightedItem(), nullptr);
    EXPECT_EQ(c->menu(), nullptr);

    second->reportHighlight(b.get());  // not in that menu
    EXPECT_EQ(second->highlightedItem(), nullptr);
}

TEST(NativeMenu, ObserversEndWithTheirSubscription) {
    MemoryMenuFactory factory;
    auto menu = factory.makeMenu();
    std::vector<bool> seen;
    {
        Subscription s = menu->observeTracking([&](bool began) { seen.push_back(began); });
        menu->reportTrackingBegan();
        EXPECT_TRUE(menu->isTracking());
    }
    menu->reportTrackingEnded();
    EXPECT_EQ(seen, std::vector<bool>{true});
    EXPECT_FALSE(menu->isTracking());

    Subscription outlives = menu->observeTracking([](bool) {});
    menu.reset();
    outlives.cancel();  // the menu is gone: nothing to do, no crash
}

TEST(NativeMenu, DisabledItemsDoNotFireAndJsonIsCompact) {
    MemoryMenuFactory factory;
    auto menu = factory.makeMenu();
    auto item = factory.makeItem();
    int fired = 0;
    item->setTitle("Quit Corvane");
    item->setKeyEquivalent("q");
    item->setHandler([&](NativeMenuItem&, const Activation&) { ++fired; });
    menu->append(item);
    menu->append(factory.makeSeparator());
    EXPECT_TRUE(item->fire());
    item->setEnabled(false);
    EXPECT_FALSE(item->fire());
    EXPECT_EQ(fired, 1);
    EXPECT_EQ(menuTreeJson(*menu).dump(),
              R"([{"enabled":false,"key":"q","title":"Quit Corvane"},{"separator":true}])");
}

}  // namespace
}  // namespace corvane
