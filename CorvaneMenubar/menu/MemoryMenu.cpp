#include "MemoryMenu.h"

namespace corvane {
namespace {

class MemoryMenuItem final : public NativeMenuItem {
public:
    MemoryMenuItem(bool separator, std::shared_ptr<MemoryMenuCounters> counters)
        : NativeMenuItem(separator), counters_(std::move(counters)) {}

protected:
    void didChange(ItemField) override { ++counters_->itemChanges; }

private:
    std::shared_ptr<MemoryMenuCounters> counters_;
};

class MemoryMenu final : public NativeMenu {
public:
    MemoryMenu(std::shared_ptr<MemoryMenuCounters> counters, std::shared_ptr<std::function<void()>> close)
        : counters_(std::move(counters)), close_(std::move(close)) {}

protected:
    void didInsert(std::size_t, NativeMenuItem&) override { ++counters_->itemsInserted; }
    void didRemove(std::size_t, NativeMenuItem&) override { ++counters_->itemsRemoved; }
    void willUpdate() override { ++counters_->updates; }
    void willCancelTracking() override {
        ++counters_->cancels;
        if (*close_)
            (*close_)();
        else if (isTracking())
            reportTrackingEnded();
    }

private:
    std::shared_ptr<MemoryMenuCounters> counters_;
    std::shared_ptr<std::function<void()>> close_;
};

}  // namespace

std::shared_ptr<NativeMenuItem> MemoryMenuFactory::makeItem() {
    ++counters_->itemsCreated;
    return std::make_shared<MemoryMenuItem>(false, counters_);
}

std::shared_ptr<NativeMenuItem> MemoryMenuFactory::makeSeparator() {
    ++counters_->itemsCreated;
    return std::make_shared<MemoryMenuItem>(true, counters_);
}

std::shared_ptr<NativeMenu> MemoryMenuFactory::makeMenu() {
    ++counters_->menusCreated;
    return std::make_shared<MemoryMenu>(counters_, close_);
}

}  // namespace corvane
