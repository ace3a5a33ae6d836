#include <gtest/gtest.h>

#include <map>
#include <tuple>

#include "menu/NativeMenu.h"
#include "menu/TextMeasure.h"
#include "menu/MemoryMenu.h"
#include "menu/MenuTreeJson.h"

namespace corvane {
namespace {

TEST(TextMeasure, ClustersKeepMarksSequencesFlagsAndSyllablesWhole) {
    const std::vector<std::pair<std::string, std::vector<std::string>>> rows = {
        {"", {}},
        {"abc", {"a", "b", "c"}},
        {"e\u0301x", {"e\u0301", "x"}},                                     // combining acute
        {"\U0001F469\u200D\U0001F4BB!", {"\U0001F469\u200D\U0001F4BB", "!"}},  // ZWJ sequence
        {"\U0001F44D\U0001F3FD", {"\U0001F44D\U0001F3FD"}},                 // skin tone
        {"\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7", {"\U0001F1E9\U0001F1EA", "\U0001F1EB\U0001F1F7"}},  // two flags
        {"\u2764\uFE0F", {"\u2764\uFE0F"}},                                 // variation selector
        {"\u0E01\u0E33\u0E19\u0E49", {"\u0E01\u0E33", "\u0E19\u0E49"}},     // Thai: sara am, tone mark
        {"\u0BA4\u0BAE\u0BBF\u0BB4\u0BCD", {"\u0BA4", "\u0BAE\u0BBF", "\u0BB4\u0BCD"}},  // Tamil sign, virama
        {"\u1112\u1161\u11AB\u1100", {"\u1112\u1161\u11AB", "\u1100"}},     // Hangul jamo L V T, then L
        {"\uD55C\u11AB\uAC00", {"\uD55C\u11AB", "\uAC00"}},                 // LVT + T; LV alone
        {"a\r\nb", {"a", "\r\n", "b"}},
        {"a\xff" "b", {"a", "\xff", "b"}},                                  // stray byte
        {"\xe2\x80", {"\xe2", "\x80"}},                                     // truncated sequence
        {"\xc0\xaf", {"\xc0", "\xaf"}},                                     // overlong form
    };
    for (const auto& [text, clusters] : rows) {
        const auto got = graphemeClusters(text);
        EXPECT_EQ(std::vector<std::string>(got.begin(), got.end()), clusters) << text;
    }
}

// A shell's menu reduced to its mirror: the list the hooks build, step by step.
class MirrorMenu final : public NativeMenu {
public:
    std::vector<NativeMenuItem*> mirror;
    std::size_t steps = 0;

protected:
    void didInsert(std::size_t index, NativeMenuItem& item) override {
        ASSERT_LE(index, mirror.size());
        mirror.insert(mirror.begin() + static_cast<std::ptrdiff_t>(index), &item);
        ++steps;
    }
    void didRemove(std::size_t index, NativeMenuItem& item) override {
        ASSERT_LT(index, mirror.size());
        ASSERT_EQ(mirror[index], &item);
        mirror.erase(mirror.begin() + static_cast<std::ptrdiff_t>(index));
        ++steps;
    }
};

TEST(NativeMenu, SetItemsLeadsTheShellsMirrorToTheNewOrderInFewSteps) {
    struct Row {
        std::string before, after;  // items named by letters
        std::size_t steps;          // removals + insertions (a move is both)
    };
    const std::vector<Row> rows = {
        {"", "abc", 3},    {"abc", "abc", 0}, {"abc", "", 3},     {"abc", "axc", 2}, {"abc", "cab", 2},
        {"abcd", "dcba", 6}, {"abc", "bxcy", 3}, {"abc", "aab", 1},  // a repeated item counts once
    };
    for (const auto& row : rows) {
        std::map<char, NativeMenu::ItemPtr> items;
        auto named = [&](const std::string& names) {
            std::vector<NativeMenu::ItemPtr> out;
            for (char c : names) {
                auto& item = items[c];
                if (!item) item = std::make_shared<NativeMenuItem>();
                out.push_back(item);
            }
            return out;
        };
        MirrorMenu menu;
        menu.setItems(named(row.before));
        menu.steps = 0;
        if (!row.before.empty()) menu.reportHighlight(items[row.before[0]].get());
        menu.setItems(named(row.after));
        std::vector<NativeMenuItem*> expected;
        for (const auto& item : menu.items()) expected.push_back(item.get());
        EXPECT_EQ(menu.mirror, expected) << row.before << " → " << row.after;
        EXPECT_EQ(menu.steps, row.steps) << row.before << " → " << row.after;
        for (const auto& [name, item] : items)
            EXPECT_EQ(item->menu(), row.after.find(name) == std::string::npos ? nullptr : &menu);
        const bool highlightStays = !row.before.empty() && row.after.find(row.before[0]) != std::string::npos;
        EXPECT_EQ(menu.highlightedItem() != nullptr, highlightStays) << row.before << " → " << row.after;
    }

    // An item of another menu is taken out of it first.
    auto other = std::make_shared<NativeMenu>();
    auto item = std::make_shared<NativeMenuItem>();
    other->append(item);
    MirrorMenu menu;
    menu.setItems({item});
    EXPECT_EQ(std::make_pair(other->count(), item->menu()), std::make_pair(std::size_t{0}, static_cast<NativeMenu*>(&menu)));
}

TEST(NativeMenu, SingleEditsKeepOneParentAndTheHighlight) {
    MemoryMenuFactory factory;
    auto first = factory.makeMenu(), second = factory.makeMenu();
    auto a = factory.makeItem(), b = factory.makeItem(), c = factory.makeItem();
    first->setItems({a, b, c});
    first->reportHighlight(c.get());
    first->move(2, 0);
    second->insert(a, 5);  // taken out of `first`, clamped to the end
    EXPECT_EQ(first->items(), (std::vector<NativeMenu::ItemPtr>{c, b}));
    EXPECT_EQ(std::make_pair(first->highlightedItem(), a->menu()), std::make_pair(c.get(), second.get()));
    first->remove(*c);
    second->reportHighlight(b.get());  // not in that menu
    EXPECT_EQ(std::make_tuple(first->highlightedItem(), c->menu(), second->highlightedItem()),
              std::make_tuple(nullptr, nullptr, nullptr));
}

TEST(NativeMenu, ObserversEndWithTheirSubscriptionAndCancellingClosesTheMenu) {
    MemoryMenuFactory factory;
    auto menu = factory.makeMenu();
    std::vector<bool> seen;
    {
        Subscription s = menu->observeTracking([&](bool began) { seen.push_back(began); });
        menu->reportTrackingBegan();
        menu->cancelTracking();  // no closer given: the menu reports its own end
        EXPECT_FALSE(menu->isTracking());
        menu->reportTrackingBegan();
    }
    menu->reportTrackingEnded();
    EXPECT_EQ(seen, (std::vector<bool>{true, false, true}));

    int closed = 0;
    factory.setCloseMenu([&] { ++closed; });
    menu->reportTrackingBegan();
    menu->cancelTracking();
    EXPECT_EQ(std::make_pair(closed, factory.counters().cancels), std::make_pair(1, std::size_t{2}));

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
    auto status = factory.makeItem();
    status->setTitle("The Corvane CLI isn't installed");
    status->setRole(role::StatusAction{"status:x", 1, std::nullopt, "Copy Install Command"});
    menu->append(status);
    EXPECT_EQ(menuTreeJson(*menu).dump(),
              R"([{"enabled":false,"key":"q","title":"Quit Corvane"},{"separator":true},)"
              R"({"action":"Copy Install Command","enabled":true,"kind":"statusAction",)"
              R"("targets":[{"part":"main","title":"Copy Install Command"}],)"
              R"("title":"The Corvane CLI isn't installed"}])");
}

}  // namespace
}  // namespace corvane
