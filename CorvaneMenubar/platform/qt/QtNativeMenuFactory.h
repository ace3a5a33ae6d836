#pragma once

#include "menu/NativeMenu.h"

namespace corvane {

// Makes the Qt shell's items and menus (`QtNativeMenuItem`, `QtNativeMenu`). GUI thread only.
class QtNativeMenuFactory final : public NativeMenuFactory {
public:
    std::shared_ptr<NativeMenuItem> makeItem() override;
    std::shared_ptr<NativeMenuItem> makeSeparator() override;
    std::shared_ptr<NativeMenu> makeMenu() override;
};

}  // namespace corvane
