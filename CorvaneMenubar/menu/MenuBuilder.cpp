#include "MenuBuilder.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "AgentRowLogic.h"
#include "CliUpdateRow.h"
#include "CliUpdatePresentation.h"
#include "MenuText.h"
#include "PlainSurface.h"

namespace corvane {
namespace {


template <class T>
const T* contentAs(const NativeMenuItem& item) {
    return item.content() ? std::get_if<T>(&*item.content()) : nullptr;
}

template <class T>
const T* roleAs(const NativeMenuItem& item) {
    return std::get_if<T>(&item.role());
}

// Choosing a row closes the menu before the row acts. A toolkit closes a popup by itself after a
// plain item, but not after a click inside custom row content, nor a menu shown as a window (on
// Wayland), nor a text-only menu: every row asks, and a menu already closed ignores it.
void closeMenuOf(NativeMenuItem& sender) {
    if (auto* menu = sender.menu()) menu->cancelTracking();
}

// A text that names the row a hosted item shows, so that a row whose details changed (a new
// subtitle, another state) still counts as the same row and is rewritten in place.
std::string hostedIdentity(const HostedRow& row) {
    struct Visitor {
        std::string operator()(const hosted::Header& h) const { return "header:" + h.title; }
        std::string operator()(const hosted::SectionLabel& s) const { return "section:" + s.title; }
        std::string operator()(const hosted::StatusRow& s) const { return "status:" + s.title; }
        std::string operator()(const hosted::ConnectionRow& c) const { return "connection:" + c.name; }
    };
    return std::visit(Visitor{}, row);
}

bool sameRowPair(const NativeMenuItem& a, const NativeMenuItem& b);

bool sameShapeOf(const std::vector<NativeMenu::ItemPtr>& live, const std::vector<NativeMenu::ItemPtr>& fresh) {
    if (live.size() != fresh.size()) return false;
    for (std::size_t i = 0; i < live.size(); ++i)
        if (!sameRowPair(*live[i], *fresh[i])) return false;
    return true;
}

bool sameRowPair(const NativeMenuItem& a, const NativeMenuItem& b) {
    if (a.role().index() != b.role().index()) return false;
    if (const auto* sa = roleAs<role::StatusAction>(a)) {
        const auto* sb = roleAs<role::StatusAction>(b);
        return sa->identity == sb->identity && sa->lineCount == sb->lineCount;
    }
    if (const auto* ua = roleAs<role::CliUpdateRow>(a)) return ua->role == roleAs<role::CliUpdateRow>(b)->role;
    if (a.hasContent() || b.hasContent()) {
        if (!a.hasContent() || !b.hasContent() || a.content()->index() != b.content()->index()) return false;
        if (const auto* da = contentAs<DismissibleRowContent>(a)) {
            const auto* db = contentAs<DismissibleRowContent>(b);
            return da->identity == db->identity && rowHeight(*a.content()) == rowHeight(*b.content());
        }
        if (const auto* ha = contentAs<HostedRowContent>(a)) {
            const auto* hb = contentAs<HostedRowContent>(b);
            return ha->row.index() == hb->row.index() && a.representedObject() == b.representedObject() &&
                   rowHeight(*a.content()) == rowHeight(*b.content());
        }
        return true;  // agent rows (any session: rewriting shows the new row)
    }
    if (!MenuBuilder::sameNativeRow(a, b)) return false;
    return !a.submenu() || sameShapeOf(a.submenu()->items(), b.submenu()->items());
}

// Descriptions are the portable base objects themselves: no shell sees them.
class DescriptionFactory final : public NativeMenuFactory {
public:
    std::shared_ptr<NativeMenuItem> makeItem() override { return std::make_shared<NativeMenuItem>(); }
    std::shared_ptr<NativeMenuItem> makeSeparator() override { return std::make_shared<NativeMenuItem>(true); }
    std::shared_ptr<NativeMenu> makeMenu() override { return std::make_shared<NativeMenu>(); }
};

}  // namespace

MenuBuilder::MenuBuilder(NativeMenuFactory& factory, const TextMeasure& measure, MenuBuilderHooks hooks,
                         std::string displayName)
    : factory_(factory),
      descriptions_(std::make_unique<DescriptionFactory>()),
      measure_(measure),
      hooks_(std::make_shared<const MenuBuilderHooks>(std::move(hooks))),
      displayName_(std::move(displayName)),
      menu_(factory.makeMenu()) {
    menu_->setAutoenablesItems(false);
    menu_->setMinimumWidth(menuMinimumWidth);
    // The subscription ends with the builder, so the observer never outlives `this`.
    trackingObserver_ = menu_->observeTracking([this](bool began) {
        tracking_ = began;
        if (began) return;
        // The highlight ends with the menu; the next opening starts with none.
        applyHighlight(*menu_, nullptr);
        applyPending();
    });
    tracking_ = menu_->isTracking();
}

void MenuBuilder::submit(MenuBuild build) {
    pending_ = std::move(build);
    applyPending();
}

void MenuBuilder::applyPending() {
    if (!pending_) return;
    MenuBuild next = std::move(*pending_);
    pending_.reset();
    menu_->setAutoenablesItems(false);
    menu_->setMinimumWidth(menuMinimumWidth);

    const auto fresh = build(next);
    const auto& items = fresh->items();
    if (tracking_) {
        if (sameShape(*menu_, items)) {
            rewriteInPlace(*menu_, items);
            displayedBaked_ = !next.moreItems;
            return;
        }
        if (!displayedBaked_ && next.moreItems) {
            // Rows would come and go under the pointer: change only what is live now and hold
            // the rest until the menu closes.
            rewriteUpdateBlock(*menu_, *fresh);
            rewriteSessionStatuses(*menu_, *fresh);
            menu_->update();
            pending_ = std::move(next);
            return;
        }
    }
    reconcile(*menu_, items);
    displayedBaked_ = !next.moreItems;
}

void MenuBuilder::applyHighlight(NativeMenu& menu, const NativeMenuItem* highlighted) {
    // The rows that draw their own highlight: agent and dismissible rows, and titles in two fonts
    // (status actions, a CLI update that can start). A disabled row shows none.
    for (const auto& item : menu.items())
        if (contentAs<AgentRowContent>(*item) || contentAs<DismissibleRowContent>(*item) || item->attributedTitle())
            item->setHighlighted(item.get() == highlighted && item->isEnabled());
}

// ---- Building ----

std::string MenuBuilder::fittingText(const std::string& text, FontRole font) const {
    return corvane::fittingText(text, font, measure_);
}

std::optional<std::string> MenuBuilder::shown(const std::optional<std::string>& text) const {
    if (!text) return std::nullopt;
    return displayText(*text, measure_);
}

HostedRow MenuBuilder::shown(const HostedRow& row) const {
    struct Visitor {
        const MenuBuilder& b;
        HostedRow operator()(const hosted::Header& h) const {
            return hosted::Header{*b.shown(h.title), b.shown(h.subtitle), b.shown(h.trailing)};
        }
        HostedRow operator()(const hosted::SectionLabel& s) const { return hosted::SectionLabel{*b.shown(s.title)}; }
        HostedRow operator()(const hosted::StatusRow& s) const {
            return hosted::StatusRow{s.mark, *b.shown(s.title), b.shown(s.subtitle), s.checking};
        }
        HostedRow operator()(const hosted::ConnectionRow& c) const {
            return hosted::ConnectionRow{c.mark, *b.shown(c.name), *b.shown(c.state)};
        }
    };
    return std::visit(Visitor{*this}, row);
}

bool MenuBuilder::reduceMotion() const { return hooks_->reduceMotion && hooks_->reduceMotion(); }

ItemHandler MenuBuilder::performing(const MenuAction& action) const {
    std::weak_ptr<const MenuBuilderHooks> hooks = hooks_;
    return [hooks, action](NativeMenuItem& sender, const Activation&) {
        closeMenuOf(sender);
        if (auto live = hooks.lock(); live && live->performAction) live->performAction(action);
    };
}

MenuBuilder::ItemPtr MenuBuilder::handlerItem(const std::string& title, ItemHandler handler) {
    auto item = descriptions_->makeItem();
    item->setTitle(fittingText(title));
    item->setToolTip(displayText(title, measure_));
    item->setHandler(std::move(handler));
    item->setKeyEquivalent("");
    return item;
}

MenuBuilder::ItemPtr MenuBuilder::hostedItem(const HostedRow& row) {
    auto item = descriptions_->makeItem();
    item->setContent(HostedRowContent{shown(row)});
    item->setRepresentedObject(hostedIdentity(std::get<HostedRowContent>(*item->content()).row));
    item->setEnabled(false);
    return item;
}

MenuBuilder::ItemPtr MenuBuilder::statusActionItem(const std::string& identity, const std::string& title,
                                                   const std::optional<std::string>& detail,
                                                   const MenuAction& action,
                                                   const std::optional<MenuAction>& dismiss) {
    std::weak_ptr<const MenuBuilderHooks> hooks = hooks_;
    auto item = handlerItem(title, [hooks, action, dismiss](NativeMenuItem& sender, const Activation& activation) {
        auto live = hooks.lock();
        if (!live || !live->performAction) return;
        const auto chosen = activation.part == RowPart::dismiss ? dismiss : std::optional<MenuAction>(action);
        if (!chosen || !chosen->isEnabled) return;
        closeMenuOf(sender);
        live->performAction(*chosen);
    });
    const auto lines = shown(detail);
    item->setAttributedTitle(statusTitle(title, lines, measure_));
    item->setToolTip(displayText(lines && !lines->empty() ? title + "\n" + *lines : title, measure_));
    item->setRole(role::StatusAction{displayText(identity, measure_), statusLineCount(lines), dismiss,
                                     displayText(action.title, measure_), action.isEnabled});
    item->setEnabled(action.isEnabled || (dismiss && dismiss->isEnabled));
    return item;
}

MenuBuilder::ItemPtr MenuBuilder::dismissibleItem(const std::string& identity, const HostedRow& content,
                                                  const MenuAction& dismiss) {
    auto item = descriptions_->makeItem();
    const auto row = shown(content);
    item->setTitle(fittingText(plainText(row)));
    item->setContent(DismissibleRowContent{displayText(identity, measure_), row, dismiss, std::nullopt, std::nullopt});
    item->setRepresentedObject(std::get<DismissibleRowContent>(*item->content()).identity);
    std::weak_ptr<const MenuBuilderHooks> hooks = hooks_;
    item->setHandler([hooks](NativeMenuItem& sender, const Activation& activation) {
        auto live = hooks.lock();
        const auto* row = contentAs<DismissibleRowContent>(sender);
        if (!live || !live->performAction || !row) return;
        const auto chosen = activation.part == RowPart::dismiss ? std::optional<MenuAction>(row->dismiss) : row->repair;
        if (!chosen || !chosen->isEnabled) return;
        closeMenuOf(sender);
        live->performAction(*chosen);
    });
    return item;
}

MenuBuilder::ItemPtr MenuBuilder::agentItem(const AgentRow& row) {
    std::weak_ptr<const MenuBuilderHooks> hooks = hooks_;
    // The handler reads the row the item shows when chosen, so a row rewritten in place opens
    // the new session's targets.
    auto item = handlerItem(row.corvane.title, [hooks](NativeMenuItem& sender, const Activation& activation) {
        auto live = hooks.lock();
        const auto* content = contentAs<AgentRowContent>(sender);
        if (!live || !live->performAction || !content) return;
        auto action = chosenAgentAction(content->row, activation);
        if (!action) return;
        closeMenuOf(sender);
        live->performAction(*action);
    });
    // The row's texts are shown; its identity and verbs are not, and stay whole.
    AgentRow display = row;
    display.corvane.title = displayText(row.corvane.title, measure_);
    if (display.harness) display.harness->title = displayText(row.harness->title, measure_);
    display.statusLabel = shown(row.statusLabel);
    item->setContent(AgentRowContent{std::move(display), reduceMotion()});
    return item;
}

std::vector<MenuBuilder::ItemPtr> MenuBuilder::updateItems(const CliUpdate& update) {
    auto notice = factory_.makeItem();
    presentCliUpdate(*notice, update, measure_, reduceMotion());
    if (cliUpdateCanStart(update)) {
        const auto start = handlerItem(cliUpdateActionTitle(update), performing(cliUpdateAction(update)));
        copyNativeState(*start, *notice);
    } else {
        notice->setEnabled(false);
    }
    std::vector<ItemPtr> rows{notice};
    if (update.phase == CliUpdatePhase::failed) {
        auto log = handlerItem(std::string(viewUpdateLogTitle), performing(updateLogAction(update)));
        log->setRole(role::CliUpdateRow{role::CliUpdateRole::log, update});
        rows.push_back(log);
    }
    return rows;
}

MenuBuilder::ItemPtr MenuBuilder::menuItem(const MenuItem& item) {
    struct Visitor {
        MenuBuilder& b;
        ItemPtr operator()(const row::CliUpdate& u) const { return b.updateItems(u.update).front(); }
        ItemPtr operator()(const row::Header& h) const { return b.hostedItem(hosted::Header{h.title, h.subtitle, h.trailing}); }
        ItemPtr operator()(const row::Section& s) const { return b.hostedItem(hosted::SectionLabel{s.title}); }
        ItemPtr operator()(const row::Status& s) const {
            if (s.action) return b.statusActionItem("status:" + s.title, s.title, s.subtitle, *s.action, s.dismiss);
            const hosted::StatusRow content{s.mark, s.title, s.subtitle, false};
            if (s.dismiss) return b.dismissibleItem("status:" + s.title, content, *s.dismiss);
            return b.hostedItem(content);
        }
        ItemPtr operator()(const row::Connection& c) const {
            if (c.action)
                return b.statusActionItem("connection:" + c.name, c.name + ": " + c.state, std::nullopt, *c.action,
                                          c.dismiss);
            const hosted::ConnectionRow content{c.mark, c.name, c.state};
            if (c.dismiss) return b.dismissibleItem("connection:" + c.name, content, *c.dismiss);
            return b.hostedItem(content);
        }
        ItemPtr operator()(const row::Submenu& s) const {
            auto item = b.descriptions_->makeItem();
            item->setTitle(b.fittingText(s.title));
            item->setToolTip(displayText(s.title, b.measure_));
            auto submenu = b.descriptions_->makeMenu();
            submenu->setAutoenablesItems(false);
            for (const auto& child : s.items) submenu->append(b.menuItem(child));
            item->setSubmenu(std::move(submenu));
            return item;
        }
        ItemPtr operator()(const row::Action& a) const {
            auto item = b.handlerItem(a.action.title, b.performing(a.action));
            item->setEnabled(a.action.isEnabled);
            if (a.action.badge == "paused") item->setBadge(pausedBadge());
            return item;
        }
        ItemPtr operator()(const row::Agent& a) const { return b.agentItem(a.agent); }
        ItemPtr operator()(const row::Separator&) const { return b.descriptions_->makeSeparator(); }
    };
    return std::visit(Visitor{*this}, item.value);
}

void MenuBuilder::appendAppRows(NativeMenu& menu) {
    std::weak_ptr<const MenuBuilderHooks> hooks = hooks_;
    auto call = [hooks](std::function<void()> MenuBuilderHooks::*member) {
        return [hooks, member](NativeMenuItem& sender, const Activation&) {
            closeMenuOf(sender);
            if (auto live = hooks.lock(); live && ((*live).*member)) ((*live).*member)();
        };
    };
    auto login = handlerItem("Launch at Login", call(&MenuBuilderHooks::toggleLoginItem));
    login->setChecked(hooks_->launchAtLoginEnabled && hooks_->launchAtLoginEnabled());
    login->setRole(role::AppRow{role::AppRowKind::launchAtLogin});
    menu.append(login);
    menu.append(descriptions_->makeSeparator());
    auto about = handlerItem("About " + displayName_, call(&MenuBuilderHooks::showAbout));
    about->setRole(role::AppRow{role::AppRowKind::about});
    menu.append(about);
    auto quit = descriptions_->makeItem();
    quit->setRole(role::AppRow{role::AppRowKind::quit});
    quit->setTitle("Quit " + displayName_);
    quit->setKeyEquivalent("q");
    quit->setHandler(call(&MenuBuilderHooks::quit));
    menu.append(quit);
}

std::shared_ptr<NativeMenu> MenuBuilder::build(const MenuBuild& build) {
    auto menu = descriptions_->makeMenu();
    menu->setAutoenablesItems(false);
    for (const auto& item : build.items) {
        if (const auto* status = item.as<row::Status>(); status && build.checking) {
            // While re-checking, status rows show their checking look and lose their buttons.
            menu->append(hostedItem(hosted::StatusRow{status->mark, status->title, status->subtitle, true}));
        } else if (const auto* update = item.as<row::CliUpdate>()) {
            for (auto& row : updateItems(update->update)) menu->append(std::move(row));
        } else {
            menu->append(menuItem(item));
        }
    }
    if (!build.moreItems) {
        menu->append(descriptions_->makeSeparator());
        appendAppRows(*menu);
        return menu;
    }
    auto more = descriptions_->makeItem();
    more->setTitle("More");
    auto submenu = descriptions_->makeMenu();
    submenu->setAutoenablesItems(false);
    for (const auto& item : *build.moreItems) submenu->append(menuItem(item));
    if (!build.moreItems->empty()) submenu->append(descriptions_->makeSeparator());
    appendAppRows(*submenu);
    more->setSubmenu(std::move(submenu));
    menu->append(std::move(more));
    return menu;
}

// ---- Applying ----

bool MenuBuilder::sameNativeRow(const NativeMenuItem& a, const NativeMenuItem& b) {
    return a.title() == b.title() && a.toolTip() == b.toolTip() && a.isSeparator() == b.isSeparator() &&
           static_cast<bool>(a.submenu()) == static_cast<bool>(b.submenu());
}

void MenuBuilder::copyNativeState(const NativeMenuItem& from, NativeMenuItem& to) {
    to.setHandler(from.handler());
    to.setRepresentedObject(from.representedObject());
    to.setChecked(from.isChecked());
    if (from.attributedTitle()) to.setAttributedTitle(from.attributedTitle());
    to.setBadge(from.badge());
    to.setEnabled(from.isEnabled());
    to.setKeyEquivalent(from.keyEquivalent());
}

bool MenuBuilder::sameShape(const NativeMenu& menu, const std::vector<ItemPtr>& items) {
    return sameShapeOf(menu.items(), items);
}

void MenuBuilder::rewritePair(NativeMenuItem& live, const NativeMenuItem& fresh) {
    if (roleAs<role::StatusAction>(live)) {
        live.setAttributedTitle(fresh.attributedTitle());
        live.setToolTip(fresh.toolTip());
        live.setTitle(fresh.title());
        live.setRole(fresh.role());
        copyNativeState(fresh, live);
    } else if (const auto* update = roleAs<role::CliUpdateRow>(fresh)) {
        if (update->role == role::CliUpdateRole::notice)
            presentCliUpdate(live, update->model, measure_, reduceMotion());
        else
            live.setRole(fresh.role());
        live.setTitle(fresh.title());
        live.setToolTip(fresh.toolTip());
        copyNativeState(fresh, live);
    } else if (contentAs<DismissibleRowContent>(fresh)) {
        live.setContent(fresh.content());
        live.setTitle(fresh.title());
        live.setEnabled(fresh.isEnabled());
        copyNativeState(fresh, live);
    } else if (contentAs<AgentRowContent>(fresh)) {
        live.setContent(fresh.content());
        live.setTitle(fresh.title());
        live.setToolTip(fresh.toolTip());
    } else if (fresh.hasContent()) {
        live.setContent(fresh.content());
        live.setRepresentedObject(fresh.representedObject());
    } else {
        copyNativeState(fresh, live);
        if (live.submenu() && fresh.submenu()) rewriteInPlace(*live.submenu(), fresh.submenu()->items());
    }
}

void MenuBuilder::rewriteInPlace(NativeMenu& menu, const std::vector<ItemPtr>& items) {
    const std::size_t count = std::min(menu.count(), items.size());
    for (std::size_t i = 0; i < count; ++i) rewritePair(*menu.itemAt(i), *items[i]);
    menu.update();
}

void MenuBuilder::rewriteUpdateBlock(NativeMenu& menu, const NativeMenu& from) {
    std::vector<ItemPtr> live, fresh;
    for (const auto& item : menu.items())
        if (roleAs<role::CliUpdateRow>(*item)) live.push_back(item);
    for (const auto& item : from.items())
        if (roleAs<role::CliUpdateRow>(*item)) fresh.push_back(item);
    for (std::size_t i = 0; i < std::min(live.size(), fresh.size()); ++i) {
        if (roleAs<role::CliUpdateRow>(*live[i])->role == roleAs<role::CliUpdateRow>(*fresh[i])->role) {
            rewritePair(*live[i], *fresh[i]);
        } else {
            live[i]->setTitle(fresh[i]->title());
            live[i]->setToolTip(fresh[i]->toolTip());
        }
    }
}

void MenuBuilder::rewriteSessionStatuses(NativeMenu& menu, const NativeMenu& from) {
    std::unordered_map<std::string_view, const AgentRowContent*> fresh;
    for (const auto& item : from.items())
        if (const auto* agent = contentAs<AgentRowContent>(*item)) fresh.emplace(agent->row.id, agent);
    for (const auto& item : menu.items()) {
        const auto* agent = contentAs<AgentRowContent>(*item);
        if (!agent) continue;
        const auto match = fresh.find(agent->row.id);
        if (match == fresh.end()) continue;
        AgentRowContent shown = *agent;
        shown.row.status = match->second->row.status;
        shown.row.statusLabel = match->second->row.statusLabel;
        shown.reduceMotion = match->second->reduceMotion;  // the setting as of this build
        item->setContent(std::move(shown));
    }
}

MenuBuilder::ItemPtr MenuBuilder::materialise(const NativeMenuItem& description) {
    if (description.isSeparator()) return factory_.makeSeparator();
    auto item = factory_.makeItem();
    item->setTitle(description.title());
    item->setAttributedTitle(description.attributedTitle());
    item->setToolTip(description.toolTip());
    item->setEnabled(description.isEnabled());
    item->setChecked(description.isChecked());
    item->setKeyEquivalent(description.keyEquivalent());
    item->setRepresentedObject(description.representedObject());
    item->setRole(description.role());
    item->setContent(description.content());
    item->setBadge(description.badge());
    item->setHandler(description.handler());
    if (const auto& from = description.submenu()) {
        auto submenu = factory_.makeMenu();
        submenu->setAutoenablesItems(from->autoenablesItems());
        std::vector<ItemPtr> children;
        children.reserve(from->count());
        for (const auto& child : from->items()) children.push_back(materialise(*child));
        submenu->setItems(std::move(children));
        item->setSubmenu(std::move(submenu));
    }
    return item;
}

void MenuBuilder::reconcile(NativeMenu& menu, const std::vector<ItemPtr>& items) {
    // Live items by their row's key; a fresh row takes the live item of its key when both are the
    // same kind of row (a key already tells repeats apart, so each live item is taken once).
    std::unordered_map<std::string, ItemPtr> pool;
    const auto liveKeys = plainKeys(menu);
    for (std::size_t i = 0; i < liveKeys.size(); ++i) pool.emplace(liveKeys[i], menu.itemAt(i));
    const auto freshKeys = plainKeys(items);
    const auto sameKind = [](const NativeMenuItem& a, const NativeMenuItem& b) {
        return a.isSeparator() == b.isSeparator() && a.role().index() == b.role().index() &&
               (a.content() ? static_cast<int>(a.content()->index()) : -1) ==
                   (b.content() ? static_cast<int>(b.content()->index()) : -1) &&
               static_cast<bool>(a.submenu()) == static_cast<bool>(b.submenu());
    };
    std::vector<ItemPtr> chosen;
    chosen.reserve(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        const auto& fresh = items[i];
        const auto same = pool.find(freshKeys[i]);
        if (same != pool.end() && same->second && sameKind(*same->second, *fresh)) {
            renew(*same->second, *fresh);
            chosen.push_back(std::move(same->second));
            continue;
        }
        chosen.push_back(materialise(*fresh));
    }
    menu.setItems(std::move(chosen));
    menu.update();
}

void MenuBuilder::renew(NativeMenuItem& live, const NativeMenuItem& fresh) {
    if (fresh.hasContent() || roleAs<role::StatusAction>(fresh) || roleAs<role::CliUpdateRow>(fresh)) {
        rewritePair(live, fresh);
    } else {
        live.setRole(fresh.role());
        if (live.submenu() && fresh.submenu()) reconcile(*live.submenu(), fresh.submenu()->items());
    }
    live.setTitle(fresh.title());
    live.setAttributedTitle(fresh.attributedTitle());
    live.setToolTip(fresh.toolTip());
    live.setEnabled(fresh.isEnabled());
    live.setChecked(fresh.isChecked());
    live.setBadge(fresh.badge());
    live.setKeyEquivalent(fresh.keyEquivalent());
    live.setRepresentedObject(fresh.representedObject());
    live.setHandler(fresh.handler());
}

}  // namespace corvane
