#pragma once

#include <memory>
#include <optional>
#include <string>

#include "seams/StatusItem.h"

namespace corvane {

// The headless status item: remembers what it was given.
class MemoryStatusItem final : public StatusItem {
public:
    void setImage(const VectorImage& image) override { image_ = image; }
    bool hasImage() const override { return image_.has_value(); }
    void setToolTip(const std::string& toolTip) override { toolTip_ = toolTip; }
    void setMenu(std::shared_ptr<NativeMenu> menu) override { menu_ = std::move(menu); }
    std::shared_ptr<NativeMenu> menu() const override { return menu_; }
    void remove() override { removed_ = true; }

    const std::optional<VectorImage>& image() const { return image_; }
    const std::string& toolTip() const { return toolTip_; }
    bool removed() const { return removed_; }

private:
    std::optional<VectorImage> image_;
    std::string toolTip_;
    std::shared_ptr<NativeMenu> menu_;
    bool removed_ = false;
};

}  // namespace corvane
