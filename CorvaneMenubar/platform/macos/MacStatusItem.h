#pragma once

#import <AppKit/AppKit.h>

#include "seams/StatusItem.h"

namespace corvane::mac {

// The app's one NSStatusItem (variable length), made on first use. Its menu is the root
// MacNativeMenu; the menu's delegate reports opening, closing and highlighting through the
// `report…` calls of the seam. The vector icon is rasterised lazily at every backing scale and
// marked as a template unless it is the coloured attention icon.
class MacStatusItem final : public StatusItem {
public:
    MacStatusItem() = default;
    ~MacStatusItem() override;

    void setImage(const VectorImage& image) override;
    bool hasImage() const override;
    void setToolTip(const std::string& toolTip) override;
    void setMenu(std::shared_ptr<NativeMenu> menu) override;
    std::shared_ptr<NativeMenu> menu() const override { return menu_; }
    void remove() override;

    // The status button (made on first use), or nil once removed.
    NSStatusBarButton* button();

private:
    NSStatusItem* item();

    NSStatusItem* item_ = nil;
    bool removed_ = false;
    std::shared_ptr<NativeMenu> menu_;
};

}  // namespace corvane::mac
