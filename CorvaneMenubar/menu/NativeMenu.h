#pragma once

// The native-menu seam: the live menu that the menu builder edits and a shell shows.
//
// The portable state of every item and menu lives here, in these base classes, and is
// authoritative. A shell subclasses `NativeMenuItem` and `NativeMenu`, creates them through its
// `NativeMenuFactory`, and mirrors every change into its toolkit from the protected `did…` hooks:
//   - Qt 6: one QWidgetAction per item (a QWidgetAction without a default widget draws like a
//     plain QAction, so an item can gain or lose custom content without being replaced); custom
//     content becomes the default widget; the dbusmenu export uses `plainText(content)`.
//   - AppKit: one NSMenuItem per item; custom content becomes the item's view.
// Object identity matters: a menu that is open is rewritten in place by editing the existing
// items, so a shell must update its native object on a change, never recreate it. Only `insert`
// and `remove` add or take away native objects.
//
// Events run the other way: the shell calls `fire` when the user chooses an item (or a part of a
// custom row), `reportTrackingBegan` / `reportTrackingEnded` when the menu opens and closes
// (Qt: aboutToShow / aboutToHide; AppKit: NSMenuDidBeginTracking / NSMenuDidEndTracking), and
// `reportHighlight` when the highlighted item changes. Everything runs on the main thread.
//
// Portable code calls `cancelTracking` (see there) whenever a chosen row acts, plain or custom: a
// toolkit closes a popup by itself after a plain item but not after a click inside custom row
// content or in a menu shown as a window, and no shell decides on its own when a row closes the
// menu.

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "MenuModel.h"
#include "TextMeasure.h"

namespace corvane {

class NativeMenu;
class NativeMenuItem;

// ---- Titles ----------------------------------------------------------------------------------

struct TextRun {
    std::string text;
    FontRole font = FontRole::menu;
    bool secondary = false;  // the secondary label colour
    bool operator==(const TextRun&) const = default;
};

// A title in several fonts (status rows: a title line, then subtitle lines in a smaller, dimmer
// font). Runs carry their own line feeds.
struct AttributedTitle {
    std::vector<TextRun> runs;
    std::string plainText() const;
    bool operator==(const AttributedTitle&) const = default;
};

// A symbol drawn before the title. The paused badge is the symbol "pause.circle.fill" in white on
// the system orange, 13 × 13 points, one space before the title (Linux: the icon-theme name
// "media-playback-pause").
struct ItemBadge {
    std::string symbol;
    std::string iconName;           // icon-theme name for the Qt shell
    std::string accessibilityText;  // spoken instead of the symbol
    bool operator==(const ItemBadge&) const = default;
};
ItemBadge pausedBadge();

// ---- What an item is -------------------------------------------------------------------------

// The builder's own marker of special rows; it decides which rows may be rewritten into each
// other while the menu is open.
namespace role {
struct Plain {
    bool operator==(const Plain&) const = default;
};
// A clickable status: its title is an attributed title of `lineCount` lines joined by line feeds.
// `actionTitle` names what choosing the row does ("Copy Install Command"); the shell shows it
// with the row (a trailing hint, see `statusActionRowLayout`) and in the plain-text fallback.
// The row's action and its dismiss are enabled each by its own flag (a running command disables
// the action, not the dismiss); the item is enabled while either is.
struct StatusAction {
    std::string identity;
    int lineCount = 1;
    std::optional<MenuAction> dismiss;  // offered by the row as its dismiss part
    std::string actionTitle;
    bool actionEnabled = true;
    bool operator==(const StatusAction&) const = default;
};
enum class CliUpdateRole { notice, log };
// A row of the CLI update block: the update itself (`notice`) or "View update log" (`log`).
struct CliUpdateRow {
    CliUpdateRole role = CliUpdateRole::notice;
    CliUpdate model;
    bool operator==(const CliUpdateRow&) const = default;
};
// One of the app's own rows at the end of the menu. "Launch at Login" is a check item whose mark
// is the login item's real status, on or off.
enum class AppRowKind { launchAtLogin, about, quit };
struct AppRow {
    AppRowKind kind = AppRowKind::about;
    bool operator==(const AppRow&) const = default;
};
}  // namespace role

using ItemRole = std::variant<role::Plain, role::StatusAction, role::CliUpdateRow, role::AppRow>;

// Static rows (not clickable): a portable description the shell draws.
namespace hosted {
struct Header {
    std::string title;
    std::optional<std::string> subtitle;
    std::optional<std::string> trailing;
    bool operator==(const Header&) const = default;
};
struct SectionLabel {
    std::string title;
    bool operator==(const SectionLabel&) const = default;
};
// `checking`: the app is re-checking; the row shows its checking look and no buttons.
struct StatusRow {
    StatusMark mark = StatusMark::muted;
    std::string title;
    std::optional<std::string> subtitle;
    bool checking = false;
    bool operator==(const StatusRow&) const = default;
};
struct ConnectionRow {
    ConnectionMark mark = ConnectionMark::muted;
    std::string name;
    std::string state;
    bool operator==(const ConnectionRow&) const = default;
};
}  // namespace hosted

using HostedRow = std::variant<hosted::Header, hosted::SectionLabel, hosted::StatusRow, hosted::ConnectionRow>;

// Custom row content: what the shell draws instead of a plain title.
struct AgentRowContent {
    AgentRow row;
    bool reduceMotion = false;  // read when the row is made and at each rewrite
    bool operator==(const AgentRowContent&) const = default;
};
// The CLI update row while the update cannot start: title, subtitle and a spinner, which stays
// still under reduce motion (see `cliUpdateSpinnerAnimates`).
struct CliUpdateViewContent {
    CliUpdate model;
    bool reduceMotion = false;  // read when the row is made or presents a new update
    bool operator==(const CliUpdateViewContent&) const = default;
};
// A static row with a dismiss button (and an optional repair action and warning).
struct DismissibleRowContent {
    std::string identity;
    HostedRow content;
    MenuAction dismiss;
    std::optional<MenuAction> repair;
    std::optional<std::string> warning;
    bool operator==(const DismissibleRowContent&) const = default;
};
struct HostedRowContent {
    HostedRow row;
    bool operator==(const HostedRowContent&) const = default;
};

using RowContent = std::variant<AgentRowContent, CliUpdateViewContent, DismissibleRowContent, HostedRowContent>;

// "agent", "cliUpdateView", "dismissible", "header", "section", "status", "connection".
std::string_view contentKindName(const RowContent& content);
std::string_view hostedKindName(const HostedRow& row);
// One-line text for places that cannot draw custom rows (dbusmenu, the headless shell). Joins the
// parts with " — ".
std::string plainText(const HostedRow& row);
std::string plainText(const RowContent& content);
// The row's height in points. Shells size their views to it, so that two rows of the same height
// may be rewritten into each other while the menu is open.
double rowHeight(const HostedRow& row);
double rowHeight(const RowContent& content);

// ---- Choosing --------------------------------------------------------------------------------

// Which part of a row the user chose. Plain items only ever report `main`.
enum class RowPart {
    main,     // the row itself: click, or Return on the highlighted row
    harness,  // an agent row's harness button
    corvane,  // an agent row's Corvane (lightning) button
    dismiss,  // a dismissible or status row's dismiss button
};

struct Activation {
    RowPart part = RowPart::main;
    bool optionPressed = false;  // Option (Alt on Linux) held while choosing
    bool operator==(const Activation&) const = default;
};

// Receives the item that was chosen (its state at that moment, after any in-place rewrite).
using ItemHandler = std::function<void(NativeMenuItem& sender, const Activation& activation)>;

// A registration that ends when this object is destroyed (or `cancel`led). It may outlive the
// object it was registered with.
class Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::function<void()> cancel) : cancel_(std::move(cancel)) {}
    Subscription(Subscription&& other) noexcept : cancel_(std::exchange(other.cancel_, nullptr)) {}
    Subscription& operator=(Subscription&& other) noexcept;
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    ~Subscription() { cancel(); }
    void cancel();
    explicit operator bool() const { return static_cast<bool>(cancel_); }

private:
    std::function<void()> cancel_;
};

// ---- Items -----------------------------------------------------------------------------------

enum class ItemField {
    title,
    attributedTitle,
    toolTip,
    enabled,
    checked,
    keyEquivalent,
    submenu,
    handler,
    representedObject,
    role,
    content,
    badge,
    highlighted,
};

class NativeMenuItem : public std::enable_shared_from_this<NativeMenuItem> {
public:
    explicit NativeMenuItem(bool separator = false) : separator_(separator) {}
    virtual ~NativeMenuItem() = default;
    NativeMenuItem(const NativeMenuItem&) = delete;
    NativeMenuItem& operator=(const NativeMenuItem&) = delete;

    bool isSeparator() const { return separator_; }

    // The plain title. Shells show `attributedTitle` instead when there is one.
    const std::string& title() const { return title_; }
    void setTitle(std::string title);
    const std::optional<AttributedTitle>& attributedTitle() const { return attributedTitle_; }
    void setAttributedTitle(std::optional<AttributedTitle> title);
    const std::optional<std::string>& toolTip() const { return toolTip_; }
    void setToolTip(std::optional<std::string> toolTip);
    bool isEnabled() const { return enabled_; }
    void setEnabled(bool enabled);
    bool isChecked() const { return checked_; }  // the check mark
    void setChecked(bool checked);
    // A single character chosen with the platform's command key ("q" for Quit); empty for none.
    const std::string& keyEquivalent() const { return keyEquivalent_; }
    void setKeyEquivalent(std::string key);
    const std::shared_ptr<NativeMenu>& submenu() const { return submenu_; }
    void setSubmenu(std::shared_ptr<NativeMenu> submenu);
    const ItemHandler& handler() const { return handler_; }
    bool hasHandler() const { return static_cast<bool>(handler_); }
    void setHandler(ItemHandler handler);
    // A value naming what the row shows; compared when deciding whether two rows have the same
    // shape. Not shown.
    const std::optional<std::string>& representedObject() const { return representedObject_; }
    void setRepresentedObject(std::optional<std::string> value);
    const ItemRole& role() const { return role_; }
    void setRole(ItemRole role);
    // Custom row content drawn instead of the title, or none.
    const std::optional<RowContent>& content() const { return content_; }
    bool hasContent() const { return content_.has_value(); }
    void setContent(std::optional<RowContent> content);
    const std::optional<ItemBadge>& badge() const { return badge_; }
    void setBadge(std::optional<ItemBadge> badge);
    // The menu's keyboard highlight is on this row; custom rows draw it themselves.
    bool isHighlighted() const { return highlighted_; }
    void setHighlighted(bool highlighted);

    // The menu holding this item, or null.
    NativeMenu* menu() const { return menu_; }

    // The user chose the item (or a part of its row). Calls the handler when the item is enabled
    // and has one; returns whether it did.
    bool fire(const Activation& activation = {});

protected:
    // Called after a field changed value (after every `setHandler`).
    virtual void didChange(ItemField) {}

private:
    friend class NativeMenu;
    template <class T>
    void assign(T& field, T value, ItemField which);

    bool separator_;
    std::string title_;
    std::optional<AttributedTitle> attributedTitle_;
    std::optional<std::string> toolTip_;
    bool enabled_ = true;
    bool checked_ = false;
    std::string keyEquivalent_;
    std::shared_ptr<NativeMenu> submenu_;
    ItemHandler handler_;
    std::optional<std::string> representedObject_;
    ItemRole role_;
    std::optional<RowContent> content_;
    std::optional<ItemBadge> badge_;
    bool highlighted_ = false;
    NativeMenu* menu_ = nullptr;
};

// ---- Menus -----------------------------------------------------------------------------------

class NativeMenu : public std::enable_shared_from_this<NativeMenu> {
public:
    using ItemPtr = std::shared_ptr<NativeMenuItem>;

    NativeMenu();
    virtual ~NativeMenu();
    NativeMenu(const NativeMenu&) = delete;
    NativeMenu& operator=(const NativeMenu&) = delete;

    const std::vector<ItemPtr>& items() const { return items_; }
    std::size_t count() const { return items_.size(); }
    const ItemPtr& itemAt(std::size_t index) const { return items_.at(index); }
    std::optional<std::size_t> indexOf(const NativeMenuItem& item) const;

    // Puts `item` at `index` (clamped to the end). An item that belongs to another menu is taken
    // out of it first; an item already in this menu is moved.
    void insert(ItemPtr item, std::size_t index);
    void append(ItemPtr item) { insert(std::move(item), items_.size()); }
    void removeAt(std::size_t index);
    // Does nothing when the item is not in this menu.
    void remove(const NativeMenuItem& item);
    void removeAll();
    void move(std::size_t from, std::size_t to);
    // Makes the menu hold exactly `items`, in order, at O(n log n) cost for any n: items that
    // stay keep their identity (an open submenu, the highlight); items that leave are removed;
    // an item of another menu is taken out of it first; a repeated item counts once. The hooks
    // see the steps: removals from the last index down, then, position by position, insertions
    // and moves (a removal and an insertion). Each index is valid in the shell's mirror at that
    // moment, while `items()` already holds the final list, so a hook uses the item it is given.
    void setItems(std::vector<ItemPtr> items);

    // When on, the toolkit may enable items by itself; the builder always turns it off.
    bool autoenablesItems() const { return autoenables_; }
    void setAutoenablesItems(bool on);
    double minimumWidth() const { return minimumWidth_; }
    void setMinimumWidth(double points);

    // "Menu will update": a batch of edits is complete; the shell redraws an open menu now.
    void update() { willUpdate(); }

    // Tracking: true from `reportTrackingBegan` until `reportTrackingEnded`.
    bool isTracking() const { return tracking_; }
    [[nodiscard]] Subscription observeTracking(std::function<void(bool began)> observer);
    void reportTrackingBegan();
    void reportTrackingEnded();
    // Closes the menu the user is in, as a click outside it would: a row that acts calls it on the
    // menu holding the row, which may be a submenu. The shell ends the whole tracking session, every open level
    // (Qt: hide the popup and its parent popups; AppKit: `cancelTracking` on the top menu), and
    // then reports the close through its usual path (`StatusItem::reportMenuDidClose`). Harmless
    // when nothing is shown.
    void cancelTracking() { willCancelTracking(); }

    // The item under the keyboard or pointer highlight, or null. Cleared when it leaves the menu.
    NativeMenuItem* highlightedItem() const { return highlighted_; }
    [[nodiscard]] Subscription observeHighlight(std::function<void(NativeMenuItem* item)> observer);
    void reportHighlight(NativeMenuItem* item);

protected:
    // `item` now sits at `index` in the shell's mirror of the menu.
    virtual void didInsert(std::size_t /*index*/, NativeMenuItem& /*item*/) {}
    virtual void didRemove(std::size_t /*index*/, NativeMenuItem& /*item*/) {}
    virtual void willUpdate() {}
    virtual void didChangeSettings() {}
    virtual void willCancelTracking() {}

private:
    template <class Arg>
    struct Observers {
        int next = 0;
        std::map<int, std::function<void(Arg)>> byId;
    };
    template <class Arg>
    static Subscription subscribe(const std::shared_ptr<Observers<Arg>>& set, std::function<void(Arg)> observer);
    template <class Arg>
    static void notify(const std::shared_ptr<Observers<Arg>>& set, Arg value);

    std::vector<ItemPtr> items_;
    bool autoenables_ = true;
    double minimumWidth_ = 0;
    bool tracking_ = false;
    NativeMenuItem* highlighted_ = nullptr;
    std::shared_ptr<Observers<bool>> trackingObservers_;
    std::shared_ptr<Observers<NativeMenuItem*>> highlightObservers_;
};

// Makes the shell's own items and menus. Separators are items of their own kind (made once, never
// turned into ordinary items).
class NativeMenuFactory {
public:
    virtual ~NativeMenuFactory() = default;
    virtual std::shared_ptr<NativeMenuItem> makeItem() = 0;
    virtual std::shared_ptr<NativeMenuItem> makeSeparator() = 0;
    virtual std::shared_ptr<NativeMenu> makeMenu() = 0;
};

}  // namespace corvane
