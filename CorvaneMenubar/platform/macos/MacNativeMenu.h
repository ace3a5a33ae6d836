#pragma once

// The native-menu seam on AppKit: one NSMenu per NativeMenu, one NSMenuItem per item. The portable
// base classes hold the state; these mirror every change into the existing AppKit objects, so an
// open menu is edited in place (NSMenu never replaced) and `update` redraws it.

#import <AppKit/AppKit.h>

#include <functional>
#include <memory>

#include "menu/NativeMenu.h"

@class CorvaneMenuDelegate;
@class CorvaneItemTarget;

namespace corvane::mac {

// What the status item hears from its root menu (its NSMenuDelegate).
struct MenuEvents {
    std::function<void()> willOpen;  // at the start of tracking (menuNeedsUpdate:), where the menu may be rebuilt
    std::function<void()> didClose;
    std::function<void(NativeMenuItem* item)> highlight;  // null when the highlight left the items
};

class MacMenuItem final : public NativeMenuItem {
public:
    explicit MacMenuItem(bool separator);
    ~MacMenuItem() override;

    NSMenuItem* nsItem() const { return item_; }
    // The item that owns `item`, or null.
    static MacMenuItem* owning(NSMenuItem* item);

    // AppKit sent the item's action (a click on a plain row, or Return on any highlighted row).
    void chooseFromMenu(bool optionPressed);

protected:
    void didChange(ItemField field) override;

private:
    void replaceNativeItemForRole();
    void applyAll();
    void applyTitle();
    void applyContent();

    NSMenuItem* item_ = nil;
    CorvaneItemTarget* target_ = nil;
};

// A custom row chose `activation` on `item`: the menu stops tracking first (it closes), and the
// item fires once it has closed, so an alert or another app never opens under an open menu.
void chooseAfterClosing(const std::weak_ptr<NativeMenuItem>& item, const Activation& activation);

class MacNativeMenu final : public NativeMenu {
public:
    MacNativeMenu();
    ~MacNativeMenu() override;

    NSMenu* nsMenu() const { return menu_; }
    // The status item's hooks on its root menu; submenus only report their highlight.
    void setEvents(MenuEvents events) { events_ = std::move(events); }

    // From the menu delegate.
    void menuNeedsUpdate();
    void menuWillOpen();
    void menuDidClose();
    void willHighlight(NSMenuItem* item);

protected:
    void didInsert(std::size_t index, NativeMenuItem& item) override;
    void didRemove(std::size_t index, NativeMenuItem& item) override;
    void willUpdate() override;
    void willCancelTracking() override;
    void didChangeSettings() override;

private:
    // Reports the opening once per tracking session.
    void beginTracking();

    NSMenu* menu_ = nil;
    CorvaneMenuDelegate* delegate_ = nil;
    MenuEvents events_;
    bool tracking_ = false;
    id<NSObject> activity_ = nil;  // the process activity held while the menu is open
};

class MacMenuFactory final : public NativeMenuFactory {
public:
    std::shared_ptr<NativeMenuItem> makeItem() override;
    std::shared_ptr<NativeMenuItem> makeSeparator() override;
    std::shared_ptr<NativeMenu> makeMenu() override;
};

}  // namespace corvane::mac
