#pragma once

// The status-item seam: the app's one icon in the menu bar (macOS: NSStatusItem; Qt:
// QSystemTrayIcon, StatusNotifierItem or XEmbed) and the menu it opens.
//
// The shell owns the native object and reports what the user does through the `report…` calls,
// which keep one order on every platform:
//   open:  events.menuWillOpen, then menu.reportTrackingBegan
//   close: menu.reportTrackingEnded, then events.menuDidClose
//   highlight: menu.reportHighlight(item), then events.willHighlight(item)
// Main thread only.

#include <functional>
#include <memory>
#include <string>

#include "menu/NativeMenu.h"
#include "menu/VectorImage.h"

namespace corvane {

struct StatusItemEvents {
    std::function<void()> menuWillOpen;
    std::function<void()> menuDidClose;
    std::function<void(NativeMenuItem* item)> willHighlight;  // null when nothing is highlighted
};

class StatusItem {
public:
    virtual ~StatusItem() = default;

    // Replaces the icon. The shell rasterises the vector image (see VectorImage.h) and honours
    // its template flag.
    virtual void setImage(const VectorImage& image) = 0;
    virtual bool hasImage() const = 0;
    // True when the shell tints a template image once, as it is given (a Linux panel: the
    // panel's text colour), rather than the system tinting it live (AppKit). The app then gives
    // the image again whenever the menu bar's darkness changes (see
    // `IconRenderer::drawnDarkness`); the shell hears of the change through `Appearance`.
    virtual bool tintsTemplateImages() const { return false; }
    virtual void setToolTip(const std::string& toolTip) = 0;
    // The menu shown when the item is clicked; the same object stays in place while the builder
    // rewrites it.
    virtual void setMenu(std::shared_ptr<NativeMenu> menu) = 0;
    virtual std::shared_ptr<NativeMenu> menu() const = 0;
    // Takes the item out of the menu bar (at termination). Nothing is shown afterwards.
    virtual void remove() = 0;

    void setEvents(StatusItemEvents events) { events_ = std::move(events); }

    // Called by the shell.
    void reportMenuWillOpen() {
        auto live = menu();
        if (events_.menuWillOpen) events_.menuWillOpen();
        if (live) live->reportTrackingBegan();
    }
    void reportMenuDidClose() {
        if (auto live = menu()) live->reportTrackingEnded();
        if (events_.menuDidClose) events_.menuDidClose();
    }
    void reportHighlight(NativeMenuItem* item) {
        if (auto live = menu()) live->reportHighlight(item);
        if (events_.willHighlight) events_.willHighlight(item);
    }

private:
    StatusItemEvents events_;
};

}  // namespace corvane
