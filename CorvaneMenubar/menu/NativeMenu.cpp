#include "NativeMenu.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "RowLayout.h"

namespace corvane {
namespace {

template <class... F>
struct Overloaded : F... {
    using F::operator()...;
};
template <class... F>
Overloaded(F...) -> Overloaded<F...>;

std::size_t lineCountOf(const std::optional<std::string>& text) {
    if (!text || text->empty()) return 0;
    return static_cast<std::size_t>(std::count(text->begin(), text->end(), '\n')) + 1;
}

std::string joined(std::initializer_list<const std::optional<std::string>*> parts) {
    std::string out;
    for (const auto* part : parts) {
        if (!*part || (*part)->empty()) continue;
        if (!out.empty()) out += " — ";
        out += **part;
    }
    return out;
}

}  // namespace

std::string AttributedTitle::plainText() const {
    std::string out;
    for (const auto& run : runs) out += run.text;
    return out;
}

ItemBadge pausedBadge() { return {"pause.circle.fill", "media-playback-pause", "Syncing paused"}; }

std::string_view hostedKindName(const HostedRow& row) {
    return std::visit(Overloaded{[](const hosted::Header&) { return std::string_view("header"); },
                                 [](const hosted::SectionLabel&) { return std::string_view("section"); },
                                 [](const hosted::StatusRow&) { return std::string_view("status"); },
                                 [](const hosted::ConnectionRow&) { return std::string_view("connection"); }},
                      row);
}

std::string_view contentKindName(const RowContent& content) {
    return std::visit(Overloaded{[](const AgentRowContent&) { return std::string_view("agent"); },
                                 [](const CliUpdateViewContent&) { return std::string_view("cliUpdateView"); },
                                 [](const DismissibleRowContent&) { return std::string_view("dismissible"); },
                                 [](const HostedRowContent& h) { return hostedKindName(h.row); }},
                      content);
}

std::string plainText(const HostedRow& row) {
    return std::visit(Overloaded{[](const hosted::Header& h) {
                                     std::optional<std::string> title = h.title;
                                     return joined({&title, &h.subtitle, &h.trailing});
                                 },
                                 [](const hosted::SectionLabel& s) { return s.title; },
                                 [](const hosted::StatusRow& s) {
                                     std::optional<std::string> title = s.title;
                                     return joined({&title, &s.subtitle});
                                 },
                                 [](const hosted::ConnectionRow& c) { return c.name + ": " + c.state; }},
                      row);
}

std::string plainText(const RowContent& content) {
    return std::visit(Overloaded{[](const AgentRowContent& a) {
                                     std::optional<std::string> title = a.row.corvane.title;
                                     std::optional<std::string> status = a.row.statusLabel;
                                     if (!status && a.row.status == "working") status = "Working";
                                     return joined({&title, &status});
                                 },
                                 [](const CliUpdateViewContent&) { return std::string(); },
                                 [](const DismissibleRowContent& d) { return plainText(d.content); },
                                 [](const HostedRowContent& h) { return plainText(h.row); }},
                      content);
}

double rowHeight(const HostedRow& row) {
    using namespace rowmetrics;
    return std::visit(
        Overloaded{[&](const hosted::Header& h) { return lineHeight + extraLineHeight * static_cast<double>(lineCountOf(h.subtitle)); },
                   [](const hosted::SectionLabel&) { return sectionHeight; },
                   [&](const hosted::StatusRow& s) { return lineHeight + extraLineHeight * static_cast<double>(lineCountOf(s.subtitle)); },
                   [&](const hosted::ConnectionRow&) { return lineHeight; }},
        row);
}

double rowHeight(const RowContent& content) {
    return std::visit(Overloaded{[](const AgentRowContent&) { return rowmetrics::agentRowHeight; },
                                 [](const CliUpdateViewContent&) { return rowmetrics::cliUpdateRowHeight; },
                                 [](const DismissibleRowContent& d) { return rowHeight(d.content); },
                                 [](const HostedRowContent& h) { return rowHeight(h.row); }},
                      content);
}

// ---- Subscription ----

Subscription& Subscription::operator=(Subscription&& other) noexcept {
    if (this != &other) {
        cancel();
        cancel_ = std::exchange(other.cancel_, nullptr);
    }
    return *this;
}

void Subscription::cancel() {
    if (auto cancel = std::exchange(cancel_, nullptr)) cancel();
}

// ---- NativeMenuItem ----

template <class T>
void NativeMenuItem::assign(T& field, T value, ItemField which) {
    if (field == value) return;
    field = std::move(value);
    didChange(which);
}

void NativeMenuItem::setTitle(std::string title) { assign(title_, std::move(title), ItemField::title); }
void NativeMenuItem::setAttributedTitle(std::optional<AttributedTitle> title) {
    assign(attributedTitle_, std::move(title), ItemField::attributedTitle);
}
void NativeMenuItem::setToolTip(std::optional<std::string> toolTip) {
    assign(toolTip_, std::move(toolTip), ItemField::toolTip);
}
void NativeMenuItem::setEnabled(bool enabled) { assign(enabled_, enabled, ItemField::enabled); }
void NativeMenuItem::setChecked(bool checked) { assign(checked_, checked, ItemField::checked); }
void NativeMenuItem::setKeyEquivalent(std::string key) {
    assign(keyEquivalent_, std::move(key), ItemField::keyEquivalent);
}
void NativeMenuItem::setSubmenu(std::shared_ptr<NativeMenu> submenu) {
    assign(submenu_, std::move(submenu), ItemField::submenu);
}
void NativeMenuItem::setHandler(ItemHandler handler) {
    handler_ = std::move(handler);
    didChange(ItemField::handler);
}
void NativeMenuItem::setRepresentedObject(std::optional<std::string> value) {
    assign(representedObject_, std::move(value), ItemField::representedObject);
}
void NativeMenuItem::setRole(ItemRole role) { assign(role_, std::move(role), ItemField::role); }
void NativeMenuItem::setContent(std::optional<RowContent> content) {
    assign(content_, std::move(content), ItemField::content);
}
void NativeMenuItem::setBadge(std::optional<ItemBadge> badge) { assign(badge_, std::move(badge), ItemField::badge); }
void NativeMenuItem::setHighlighted(bool highlighted) {
    assign(highlighted_, highlighted, ItemField::highlighted);
}

bool NativeMenuItem::fire(const Activation& activation) {
    if (!enabled_ || !handler_) return false;
    // A copy: the handler may replace itself, or the item may lose its last owner, while it runs.
    auto keepAlive = shared_from_this();
    ItemHandler handler = handler_;
    handler(*this, activation);
    return true;
}

// ---- NativeMenu ----

NativeMenu::NativeMenu()
    : trackingObservers_(std::make_shared<Observers<bool>>()),
      highlightObservers_(std::make_shared<Observers<NativeMenuItem*>>()) {}

NativeMenu::~NativeMenu() {
    for (auto& item : items_) item->menu_ = nullptr;
}

std::optional<std::size_t> NativeMenu::indexOf(const NativeMenuItem& item) const {
    for (std::size_t i = 0; i < items_.size(); ++i)
        if (items_[i].get() == &item) return i;
    return std::nullopt;
}

void NativeMenu::insert(ItemPtr item, std::size_t index) {
    if (!item) return;
    if (item->menu_ == this) {
        if (auto from = indexOf(*item)) move(*from, index);
        return;
    }
    if (item->menu_) item->menu_->remove(*item);
    index = std::min(index, items_.size());
    item->menu_ = this;
    items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(index), item);
    didInsert(index, *item);
}

void NativeMenu::removeAt(std::size_t index) {
    if (index >= items_.size()) return;
    ItemPtr item = items_[index];
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index));
    item->menu_ = nullptr;
    if (highlighted_ == item.get()) highlighted_ = nullptr;
    didRemove(index, *item);
}

void NativeMenu::remove(const NativeMenuItem& item) {
    if (auto index = indexOf(item)) removeAt(*index);
}

void NativeMenu::removeAll() {
    while (!items_.empty()) removeAt(items_.size() - 1);
}

void NativeMenu::move(std::size_t from, std::size_t to) {
    if (from >= items_.size()) return;
    to = std::min(to, items_.size() - 1);
    if (from == to) return;
    ItemPtr item = items_[from];
    // Through the hooks, so a shell only has to know insertion and removal.
    NativeMenuItem* highlighted = highlighted_;
    removeAt(from);
    insert(std::move(item), to);
    highlighted_ = highlighted;
}

void NativeMenu::setItems(std::vector<ItemPtr> items) {
    // Drop empty and repeated entries.
    std::unordered_set<const NativeMenuItem*> wanted;
    wanted.reserve(items.size());
    std::vector<ItemPtr> target;
    target.reserve(items.size());
    for (auto& item : items)
        if (item && wanted.insert(item.get()).second) target.push_back(std::move(item));

    // Leaving items go first, from the last index down, so every index is still valid.
    std::vector<ItemPtr> old = std::move(items_);
    items_ = target;
    for (std::size_t i = old.size(); i-- > 0;) {
        if (wanted.count(old[i].get())) continue;
        old[i]->menu_ = nullptr;
        if (highlighted_ == old[i].get()) highlighted_ = nullptr;
        didRemove(i, *old[i]);
    }
    // The mirror now holds the staying items in their old order. Place the target position by
    // position; a Fenwick tree counts the staying items not yet placed before a given one, which
    // is how far past the placed prefix it sits in the mirror.
    std::unordered_map<const NativeMenuItem*, std::size_t> stayingAt;
    for (const auto& item : old)
        if (wanted.count(item.get())) stayingAt.emplace(item.get(), stayingAt.size());
    std::vector<std::size_t> tree(stayingAt.size() + 1, 0);
    auto add = [&](std::size_t at, int delta) {
        for (++at; at < tree.size(); at += at & (~at + 1)) tree[at] += static_cast<std::size_t>(delta);
    };
    auto before = [&](std::size_t at) {
        std::size_t sum = 0;
        for (; at > 0; at -= at & (~at + 1)) sum += tree[at];
        return sum;
    };
    for (std::size_t i = 0; i < stayingAt.size(); ++i) add(i, 1);
    for (std::size_t i = 0; i < target.size(); ++i) {
        auto& item = *target[i];
        if (auto staying = stayingAt.find(&item); staying != stayingAt.end()) {
            const std::size_t ahead = before(staying->second);
            add(staying->second, -1);
            if (ahead == 0) continue;
            didRemove(i + ahead, item);
            didInsert(i, item);
            continue;
        }
        if (item.menu_) item.menu_->remove(item);
        item.menu_ = this;
        didInsert(i, item);
    }
}

void NativeMenu::setAutoenablesItems(bool on) {
    if (autoenables_ == on) return;
    autoenables_ = on;
    didChangeSettings();
}

void NativeMenu::setMinimumWidth(double points) {
    if (minimumWidth_ == points) return;
    minimumWidth_ = points;
    didChangeSettings();
}

template <class Arg>
Subscription NativeMenu::subscribe(const std::shared_ptr<Observers<Arg>>& set, std::function<void(Arg)> observer) {
    const int id = set->next++;
    set->byId.emplace(id, std::move(observer));
    std::weak_ptr<Observers<Arg>> weak = set;
    return Subscription([weak, id] {
        if (auto live = weak.lock()) live->byId.erase(id);
    });
}

template <class Arg>
void NativeMenu::notify(const std::shared_ptr<Observers<Arg>>& set, Arg value) {
    // A copy: an observer may unsubscribe (or subscribe) while being told.
    auto keepAlive = set;
    const auto snapshot = set->byId;
    for (const auto& [id, observer] : snapshot)
        if (keepAlive->byId.count(id)) observer(value);
}

Subscription NativeMenu::observeTracking(std::function<void(bool)> observer) {
    return subscribe(trackingObservers_, std::move(observer));
}

void NativeMenu::reportTrackingBegan() {
    tracking_ = true;
    notify(trackingObservers_, true);
}

void NativeMenu::reportTrackingEnded() {
    tracking_ = false;
    highlighted_ = nullptr;
    notify(trackingObservers_, false);
}

Subscription NativeMenu::observeHighlight(std::function<void(NativeMenuItem*)> observer) {
    return subscribe(highlightObservers_, std::move(observer));
}

void NativeMenu::reportHighlight(NativeMenuItem* item) {
    if (item && item->menu_ != this) item = nullptr;
    highlighted_ = item;
    notify(highlightObservers_, item);
}

}  // namespace corvane
