#import "MacNativeMenu.h"

#import "AgentRowView.h"
#import "AppKitText.h"
#import "CliUpdateMenuItem.h"
#import "CliUpdateView.h"
#import "DismissibleRowView.h"
#import "HostedRowView.h"
#import "StatusActionMenuItem.h"

#include <type_traits>
#include <utility>
#include <variant>

#include "app/MacDecisions.h"
#include "menu/MenuBuilder.h"
#include "seams/MainLoop.h"

using corvane::mac::MacMenuItem;
using corvane::mac::MacNativeMenu;

// The target of every native item. NSMenuItem holds its target weakly, so the C++ item keeps it.
@interface CorvaneItemTarget : NSObject
@property(nonatomic, assign) MacMenuItem* owner;
- (void)fire:(id)sender;
@end

@implementation CorvaneItemTarget
- (void)fire:(id)sender {
    (void)sender;
    if (!_owner) return;
    const bool option = (NSApp.currentEvent.modifierFlags & NSEventModifierFlagOption) != 0;
    _owner->chooseFromMenu(option);
}
@end

@interface CorvaneMenuDelegate : NSObject <NSMenuDelegate>
@property(nonatomic, assign) MacNativeMenu* owner;
@end

@implementation CorvaneMenuDelegate
- (void)menuNeedsUpdate:(NSMenu*)menu {
    (void)menu;
    if (_owner) _owner->menuNeedsUpdate();
}
- (void)menuWillOpen:(NSMenu*)menu {
    (void)menu;
    if (_owner) _owner->menuWillOpen();
}
- (void)menuDidClose:(NSMenu*)menu {
    (void)menu;
    if (_owner) _owner->menuDidClose();
}
- (void)menu:(NSMenu*)menu willHighlightItem:(NSMenuItem*)item {
    (void)menu;
    if (_owner) _owner->willHighlight(item);
}
@end

// A job performed once the menu has closed: in the default run-loop mode only, which does not run
// while a menu tracks (the main queue does, so dispatch_async would not wait).
@interface CorvaneDeferredJob : NSObject
- (instancetype)initWithJob:(corvane::Job)job;
- (void)fire;
@end

@implementation CorvaneDeferredJob {
    corvane::Job _job;
}
- (instancetype)initWithJob:(corvane::Job)job {
    if ((self = [super init])) _job = std::move(job);
    return self;
}
- (void)fire {
    if (auto job = std::exchange(_job, nullptr)) job();
}
@end

// Fires an item once the menu has closed: performed in the default run-loop mode only, which
// does not run while a menu tracks. It holds the item, so a build applied when the menu closed
// (which may replace the row) does not lose the choice: the handler reads the chosen row.
@interface CorvaneDeferredChoice : NSObject
- (instancetype)initWithItem:(std::shared_ptr<corvane::NativeMenuItem>)item activation:(corvane::Activation)activation;
- (void)fire;
@end

@implementation CorvaneDeferredChoice {
    std::shared_ptr<corvane::NativeMenuItem> _item;
    corvane::Activation _activation;
}
- (instancetype)initWithItem:(std::shared_ptr<corvane::NativeMenuItem>)item activation:(corvane::Activation)activation {
    if ((self = [super init])) {
        _item = std::move(item);
        _activation = activation;
    }
    return self;
}
- (void)fire {
    if (auto item = std::exchange(_item, nullptr)) item->fire(_activation);
}
@end

namespace corvane::mac {
namespace {

Class nativeClassFor(const ItemRole& role) {
    if (std::holds_alternative<role::StatusAction>(role)) return [StatusActionMenuItem class];
    if (std::holds_alternative<role::CliUpdateRow>(role)) return [CliUpdateMenuItem class];
    return [NSMenuItem class];
}

NSRect rowFrame(const RowContent& content) { return NSMakeRect(0, 0, menuMinimumWidth, rowHeight(content)); }

}  // namespace

// ---- Items ------------------------------------------------------------------------------------

MacMenuItem::MacMenuItem(bool separator) : NativeMenuItem(separator) {
    target_ = [[CorvaneItemTarget alloc] init];
    target_.owner = this;
    item_ = separator ? [NSMenuItem separatorItem] : [[NSMenuItem alloc] initWithTitle:@"" action:nil keyEquivalent:@""];
    item_.target = target_;
}

MacMenuItem::~MacMenuItem() {
    target_.owner = nullptr;
    if (item_.menu) [item_.menu removeItem:item_];
}

MacMenuItem* MacMenuItem::owning(NSMenuItem* item) {
    id target = item.target;
    if (![target isKindOfClass:[CorvaneItemTarget class]]) return nullptr;
    return static_cast<CorvaneItemTarget*>(target).owner;
}

void MacMenuItem::chooseFromMenu(bool optionPressed) {
    auto keep = shared_from_this();
    fire(Activation{keyboardRowPart(*this, optionPressed), optionPressed});
}

void MacMenuItem::replaceNativeItemForRole() {
    if (isSeparator()) return;
    Class wanted = nativeClassFor(role());
    if ([item_ class] == wanted) return;
    NSMenuItem* old = item_;
    NSMenu* menu = old.menu;
    const NSInteger index = menu ? [menu indexOfItem:old] : -1;
    old.submenu = nil;  // a submenu can belong to one item only; applyAll gives it to the new one
    item_ = [[wanted alloc] initWithTitle:@"" action:nil keyEquivalent:@""];
    item_.target = target_;
    if (menu && index >= 0) {
        [menu removeItemAtIndex:index];
        [menu insertItem:item_ atIndex:index];
    }
    applyAll();
}

void MacMenuItem::applyTitle() {
    NSAttributedString* styled = nil;
    if (attributedTitle()) styled = corvane::mac::attributedTitle(*attributedTitle());
    if (badge()) {
        if (!styled)
            styled = [[NSAttributedString alloc] initWithString:toNS(title())
                                                     attributes:@{NSFontAttributeName : fontFor(FontRole::menu)}];
        styled = badgedTitle(*badge(), styled);
    }
    item_.title = toNS(title());
    item_.attributedTitle = styled;
}

void MacMenuItem::applyContent() {
    if (!content()) {
        // A status action draws its own row; every other item without content is a plain title.
        if ([item_ isKindOfClass:[StatusActionMenuItem class]])
            [static_cast<StatusActionMenuItem*>(item_) presentItem:weak_from_this()];
        else if (item_.view)
            item_.view = nil;
        return;
    }
    std::weak_ptr<NativeMenuItem> weak = weak_from_this();
    NSView* current = item_.view;
    std::visit(
        [&](const auto& c) {
            using C = std::decay_t<decltype(c)>;
            if constexpr (std::is_same_v<C, AgentRowContent>) {
                if ([current isKindOfClass:[AgentRowView class]])
                    [static_cast<AgentRowView*>(current) showRow:c.row reduceMotion:c.reduceMotion ? YES : NO];
                else
                    item_.view = [[AgentRowView alloc] initWithFrame:rowFrame(*content()) content:c item:weak];
            } else if constexpr (std::is_same_v<C, CliUpdateViewContent>) {
                if ([current isKindOfClass:[CliUpdateView class]])
                    [static_cast<CliUpdateView*>(current) updateContent:c];
                else
                    item_.view = [[CliUpdateView alloc] initWithContent:c];
            } else if constexpr (std::is_same_v<C, DismissibleRowContent>) {
                if ([current isKindOfClass:[DismissibleRowView class]])
                    [static_cast<DismissibleRowView*>(current) updateFromContent:c];
                else
                    item_.view = [[DismissibleRowView alloc] initWithFrame:rowFrame(*content()) content:c item:weak];
            } else {
                if ([current isKindOfClass:[HostedRowView class]])
                    [static_cast<HostedRowView*>(current) showRow:c.row];
                else
                    item_.view = [[HostedRowView alloc] initWithRow:c.row];
            }
        },
        *content());
}

void MacMenuItem::applyAll() {
    for (auto field : {ItemField::title, ItemField::toolTip, ItemField::enabled, ItemField::checked,
                       ItemField::keyEquivalent, ItemField::submenu, ItemField::handler, ItemField::role,
                       ItemField::content, ItemField::highlighted})
        didChange(field);
}

void MacMenuItem::didChange(ItemField field) {
    if (isSeparator()) return;
    switch (field) {
        case ItemField::title:
        case ItemField::attributedTitle:
        case ItemField::badge:
            applyTitle();
            applyContent();  // a status action's view shows the title
            break;
        case ItemField::toolTip:
            item_.toolTip = toolTip() ? toNS(*toolTip()) : nil;
            break;
        case ItemField::enabled:
            item_.enabled = isEnabled() ? YES : NO;
            applyContent();
            break;
        case ItemField::checked:
            item_.state = isChecked() ? NSControlStateValueOn : NSControlStateValueOff;
            break;
        case ItemField::keyEquivalent:
            item_.keyEquivalent = toNS(keyEquivalent());
            break;
        case ItemField::submenu: {
            auto* mac = dynamic_cast<MacNativeMenu*>(submenu().get());
            NSMenu* wanted = mac ? mac->nsMenu() : nil;
            if (item_.submenu == wanted) break;
            // A menu can be the submenu of one item only: detach it from a previous owner first.
            if (NSMenu* parent = wanted.supermenu) {
                const NSInteger index = [parent indexOfItemWithSubmenu:wanted];
                if (index >= 0) [[parent itemAtIndex:index] setSubmenu:nil];
            }
            item_.submenu = wanted;
            break;
        }
        case ItemField::handler:
            item_.action = hasHandler() ? @selector(fire:) : nil;
            break;
        case ItemField::representedObject:
            break;  // portable state only: it decides which rows may be rewritten into each other
        case ItemField::role: {
            replaceNativeItemForRole();
            if (auto* status = std::get_if<role::StatusAction>(&role());
                status && [item_ isKindOfClass:[StatusActionMenuItem class]]) {
                auto* native = static_cast<StatusActionMenuItem*>(item_);
                native.identity = toNS(status->identity);
                native.lineCount = status->lineCount;
                applyContent();
            } else if (auto* update = std::get_if<role::CliUpdateRow>(&role());
                       update && [item_ isKindOfClass:[CliUpdateMenuItem class]]) {
                static_cast<CliUpdateMenuItem*>(item_).role = update->role;
            }
            break;
        }
        case ItemField::content:
            applyContent();
            break;
        case ItemField::highlighted: {
            NSView* view = item_.view;
            if ([item_ isKindOfClass:[StatusActionMenuItem class]])
                applyContent();
            else if ([view isKindOfClass:[AgentRowView class]])
                [static_cast<AgentRowView*>(view) updateHighlight:isHighlighted() ? YES : NO];
            else if ([view isKindOfClass:[DismissibleRowView class]])
                [static_cast<DismissibleRowView*>(view) updateHighlight:isHighlighted() ? YES : NO];
            break;
        }
    }
}

void chooseAfterClosing(const std::weak_ptr<NativeMenuItem>& item, const Activation& activation) {
    auto live = item.lock();
    auto* mac = dynamic_cast<MacMenuItem*>(live.get());
    if (!mac) return;
    if (NativeMenu* menu = live->menu()) menu->cancelTracking();
    CorvaneDeferredChoice* choice = [[CorvaneDeferredChoice alloc] initWithItem:live activation:activation];
    [choice performSelector:@selector(fire) withObject:nil afterDelay:0 inModes:@[ NSDefaultRunLoopMode ]];
}

// ---- Menus ------------------------------------------------------------------------------------

MacNativeMenu::MacNativeMenu() {
    menu_ = [[NSMenu alloc] initWithTitle:@""];
    delegate_ = [[CorvaneMenuDelegate alloc] init];
    delegate_.owner = this;
    menu_.delegate = delegate_;
    didChangeSettings();
}

MacNativeMenu::~MacNativeMenu() {
    delegate_.owner = nullptr;
    menu_.delegate = nil;
}

void MacNativeMenu::menuNeedsUpdate() {
    // The start of tracking, before the menu shows: the one moment AppKit lets the delegate change
    // the menu's structure (menuWillOpen: must not). The status item rebuilds here; from now on the
    // portable side knows the menu is open and edits it in place.
    beginTracking();
}

void MacNativeMenu::menuWillOpen() { beginTracking(); }

void MacNativeMenu::beginTracking() {
    if (tracking_ || !events_.willOpen) return;
    tracking_ = true;
    // The menu animates and its rows update while it is open: no App Nap timer coalescing meanwhile.
    activity_ = [NSProcessInfo.processInfo beginActivityWithOptions:NSActivityUserInitiatedAllowingIdleSystemSleep
                                                             reason:@"The Corvane menu is open"];
    events_.willOpen();
}

void MacNativeMenu::menuDidClose() {
    if (!tracking_) return;
    tracking_ = false;
    if (activity_) [NSProcessInfo.processInfo endActivity:activity_];
    activity_ = nil;
    // AppKit sends the chosen item's action after this; the close (which may apply a pending
    // build and replace that item) waits until the menu's tracking has ended.
    if (!events_.didClose) return;
    CorvaneDeferredJob* close = [[CorvaneDeferredJob alloc] initWithJob:events_.didClose];
    [close performSelector:@selector(fire) withObject:nil afterDelay:0 inModes:@[ NSDefaultRunLoopMode ]];
}

void MacNativeMenu::willHighlight(NSMenuItem* item) {
    MacMenuItem* owner = item ? MacMenuItem::owning(item) : nullptr;
    // Status-action rows draw their own highlight from the item's flag; the builder sets it on
    // agent and dismissible rows only.
    for (const auto& each : items())
        if (std::holds_alternative<role::StatusAction>(each->role())) each->setHighlighted(each.get() == owner);
    if (events_.highlight)
        events_.highlight(owner);
    else
        reportHighlight(owner);
}

void MacNativeMenu::didInsert(std::size_t index, NativeMenuItem& inserted) {
    auto* item = dynamic_cast<MacMenuItem*>(&inserted);
    if (!item) return;
    NSMenuItem* native = item->nsItem();
    if (native.menu) [native.menu removeItem:native];
    [menu_ insertItem:native atIndex:static_cast<NSInteger>(index)];
}

void MacNativeMenu::didRemove(std::size_t, NativeMenuItem& item) {
    auto* mac = dynamic_cast<MacMenuItem*>(&item);
    if (mac && mac->nsItem().menu == menu_) [menu_ removeItem:mac->nsItem()];
}

void MacNativeMenu::willUpdate() { [menu_ update]; }

void MacNativeMenu::willCancelTracking() {
    // The whole tracking session ends: every open level, from the top menu.
    NSMenu* top = menu_;
    while (top.supermenu) top = top.supermenu;
    [top cancelTracking];
}

void MacNativeMenu::didChangeSettings() {
    menu_.autoenablesItems = autoenablesItems() ? YES : NO;
    menu_.minimumWidth = minimumWidth();
}

std::shared_ptr<NativeMenuItem> MacMenuFactory::makeItem() { return std::make_shared<MacMenuItem>(false); }

std::shared_ptr<NativeMenuItem> MacMenuFactory::makeSeparator() { return std::make_shared<MacMenuItem>(true); }

std::shared_ptr<NativeMenu> MacMenuFactory::makeMenu() { return std::make_shared<MacNativeMenu>(); }

}  // namespace corvane::mac
