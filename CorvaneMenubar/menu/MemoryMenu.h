#pragma once

// The in-memory native menu: the headless shell's menu and the tests' fake. Items and menus keep
// only the portable state; the factory counts what happens to them so that a test can tell an
// in-place rewrite (nothing created, inserted or removed) from a rebuild.

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "NativeMenu.h"
#include "VectorImage.h"

namespace corvane {

struct MemoryMenuCounters {
    std::size_t itemsCreated = 0;    // separators included
    std::size_t menusCreated = 0;
    std::size_t itemsInserted = 0;   // into any menu made by the factory
    std::size_t itemsRemoved = 0;    // from any menu made by the factory
    std::size_t itemChanges = 0;     // field changes of items made by the factory
    std::size_t updates = 0;         // "menu will update" requests
    std::size_t cancels = 0;         // `cancelTracking` requests
    bool operator==(const MemoryMenuCounters&) const = default;
};

class MemoryMenuFactory final : public NativeMenuFactory {
public:
    MemoryMenuFactory() : counters_(std::make_shared<MemoryMenuCounters>()) {}

    std::shared_ptr<NativeMenuItem> makeItem() override;
    std::shared_ptr<NativeMenuItem> makeSeparator() override;
    std::shared_ptr<NativeMenu> makeMenu() override;

    const MemoryMenuCounters& counters() const { return *counters_; }
    void resetCounters() { *counters_ = {}; }

    // What closing the shown menu means to whoever shows it (the headless shell: the status item
    // reports the close). Without one, a menu asked to stop tracking reports its own end.
    void setCloseMenu(std::function<void()> close) { *close_ = std::move(close); }

private:
    std::shared_ptr<MemoryMenuCounters> counters_;
    std::shared_ptr<std::function<void()>> close_ = std::make_shared<std::function<void()>>();
};

}  // namespace corvane
