#pragma once

// Turns the menu rows into the status item's native menu and keeps that menu current while the
// user has it open.
//
// The menu is rebuilt on every poll, but an open menu must not flicker, lose its highlighted row
// or close an open submenu. So each new build is first described off-screen, as plain portable
// items and menus that no shell sees (cheap: no native object, no custom view), and then applied
// to the live menu in the gentlest way that fits; the shell's items are made only for rows that
// are inserted:
//   - menu closed: reconciled item by item, reusing native items that are the same row;
//   - menu open, same shape: rewritten in place (no item replaced);
//   - menu open, different shape, and the menu on screen came from the CLI while the new build
//     does too: only the CLI update block and the session statuses change now; the whole build
//     is kept pending and applied when the menu closes;
//   - menu open otherwise (the app's own baked menu is showing): reconciled at once.
// Only the newest build waits; a new one replaces it. Describing, comparing and applying n rows
// costs O(n log n) at most, and every text a row shows is cut to `displayTextLimit`. Main thread
// only.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MenuModel.h"
#include "NativeMenu.h"
#include "TextMeasure.h"

namespace corvane {

// What the builder needs from the app.
struct MenuBuilderHooks {
    std::function<void(const MenuAction&)> performAction;  // a row was chosen
    std::function<bool()> launchAtLoginEnabled;             // the login item reports "enabled"
    std::function<void()> toggleLoginItem;
    std::function<void()> showAbout;  // bring the app to the front and show the About panel
    std::function<void()> quit;
    std::function<bool()> reduceMotion;  // the system setting, read when a row is made
};

struct MenuBuild {
    std::vector<MenuItem> items;
    // The CLI's "more" rows; absent for a menu the app bakes itself (no CLI answer to show).
    std::optional<std::vector<MenuItem>> moreItems;
    bool checking = false;  // the app is re-checking: status rows show their checking look
    bool operator==(const MenuBuild&) const = default;
};

inline constexpr double menuMinimumWidth = 320;

class MenuBuilder {
public:
    using ItemPtr = std::shared_ptr<NativeMenuItem>;

    MenuBuilder(NativeMenuFactory& factory, const TextMeasure& measure, MenuBuilderHooks hooks,
                std::string displayName);
    MenuBuilder(const MenuBuilder&) = delete;
    MenuBuilder& operator=(const MenuBuilder&) = delete;

    // The live menu, made once: give it to the status item. The builder follows its tracking.
    const std::shared_ptr<NativeMenu>& menu() const { return menu_; }

    // A new build from the app: replaces any pending one and is applied as far as the menu's
    // state allows (see above).
    void submit(MenuBuild build);
    const std::optional<MenuBuild>& pending() const { return pending_; }
    bool isTracking() const { return tracking_; }
    // The menu on screen was built without "more" rows (the app's own baked menu).
    bool displayedBaked() const { return displayedBaked_; }

    // Tells the rows that draw their own highlight (agent, dismissible and status-action rows)
    // whether the menu's highlight is on them, so they follow keyboard highlighting: the one
    // source of every custom row's highlight. Call it from the status item's highlight event.
    static void applyHighlight(NativeMenu& menu, const NativeMenuItem* highlighted);

    // ---- Building (exposed for the shells and tests) ----
    // These make descriptions: plain `NativeMenuItem`s and `NativeMenu`s, not the shell's.

    // The description of a whole menu: the rows, then the app rows (at the end of the main menu,
    // or at the end of the "More" submenu when there are more rows).
    std::shared_ptr<NativeMenu> build(const MenuBuild& build);
    // A shell item (and submenu, recursively) carrying the description's state.
    ItemPtr materialise(const NativeMenuItem& description);
    // The rows of the CLI update block: the notice row, then "View update log" after a failure.
    std::vector<ItemPtr> updateItems(const CliUpdate& update);
    ItemPtr menuItem(const MenuItem& item);
    // A row that calls `handler` when chosen; title fitted, full title as tool tip.
    ItemPtr handlerItem(const std::string& title, ItemHandler handler);
    // A static row (not clickable).
    ItemPtr hostedItem(const HostedRow& row);
    // A clickable status: the title and its detail lines; the dismiss part performs `dismiss`.
    ItemPtr statusActionItem(const std::string& identity, const std::string& title,
                             const std::optional<std::string>& detail, const MenuAction& action,
                             const std::optional<MenuAction>& dismiss);
    // A static row with a dismiss button.
    ItemPtr dismissibleItem(const std::string& identity, const HostedRow& content, const MenuAction& dismiss);
    // "Launch at Login" (checked while enabled), a separator, "About <name>", "Quit <name>" (⌘Q).
    void appendAppRows(NativeMenu& menu);
    std::string fittingText(const std::string& text, FontRole font = FontRole::menu) const;

    // ---- Applying a build to the live menu ----

    // Same title, same tool tip (both absent counts as equal), both or neither separators, both
    // or neither with a submenu.
    static bool sameNativeRow(const NativeMenuItem& a, const NativeMenuItem& b);
    // Handler, represented object, check mark, attributed title (only when `from` has one),
    // badge, enabled flag and key equivalent.
    static void copyNativeState(const NativeMenuItem& from, NativeMenuItem& to);
    // True when every pair of rows can be rewritten into each other without replacing an item.
    static bool sameShape(const NativeMenu& menu, const std::vector<ItemPtr>& items);
    // Moves the new rows' content into the live items (the shapes must agree), then updates.
    void rewriteInPlace(NativeMenu& menu, const std::vector<ItemPtr>& items);
    // The CLI update rows of `menu` take those of `from`, matched in order; extras are left.
    void rewriteUpdateBlock(NativeMenu& menu, const NativeMenu& from);
    // The agent rows of `menu` take the status texts (and the reduce-motion setting) of the rows
    // of `from` for the same session (`AgentRow.id`); a session missing from `from` keeps its own.
    static void rewriteSessionStatuses(NativeMenu& menu, const NativeMenu& from);
    // Makes `menu` hold the described `items`, reusing the live item of the same row (the same
    // plain-surface key and kind: an agent row stays one item while its session lasts, whatever
    // its status says) and rewriting it in place, materialising only rows that are new, then
    // updates. So a shell's native items, and the ids a panel knows them by, live as long as
    // their rows; an open submenu and the highlight stay alive.
    void reconcile(NativeMenu& menu, const std::vector<ItemPtr>& items);

private:
    void applyPending();
    void rewritePair(NativeMenuItem& live, const NativeMenuItem& fresh);
    // Every field of `fresh` into `live`, a row of the same key and kind.
    void renew(NativeMenuItem& live, const NativeMenuItem& fresh);
    ItemPtr agentItem(const AgentRow& row);
    bool reduceMotion() const;
    // The texts cut to `displayTextLimit`.
    std::optional<std::string> shown(const std::optional<std::string>& text) const;
    HostedRow shown(const HostedRow& row) const;
    // A handler that performs `action` through the app.
    ItemHandler performing(const MenuAction& action) const;

    NativeMenuFactory& factory_;
    std::unique_ptr<NativeMenuFactory> descriptions_;  // plain portable items, for descriptions
    const TextMeasure& measure_;
    // Shared with the rows' handlers, weakly: a row chosen after the builder is gone does nothing.
    std::shared_ptr<const MenuBuilderHooks> hooks_;
    std::string displayName_;
    std::shared_ptr<NativeMenu> menu_;
    Subscription trackingObserver_;
    bool tracking_ = false;
    bool displayedBaked_ = false;
    std::optional<MenuBuild> pending_;
};

}  // namespace corvane
