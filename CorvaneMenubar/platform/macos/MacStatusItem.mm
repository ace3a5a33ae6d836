#import "MacStatusItem.h"

#import "AppKitText.h"
#import "MacNativeMenu.h"
#import "VectorImageDrawing.h"

namespace corvane::mac {

MacStatusItem::~MacStatusItem() { remove(); }

NSStatusItem* MacStatusItem::item() {
    if (!item_ && !removed_) item_ = [NSStatusBar.systemStatusBar statusItemWithLength:NSVariableStatusItemLength];
    return item_;
}

NSStatusBarButton* MacStatusItem::button() { return item().button; }

void MacStatusItem::setImage(const VectorImage& image) {
    NSStatusBarButton* target = button();
    target.image = nsImage(image, target.toolTip.length > 0 ? target.toolTip : @"Corvane");
}

bool MacStatusItem::hasImage() const { return item_.button.image != nil; }

void MacStatusItem::setToolTip(const std::string& toolTip) { button().toolTip = toNS(toolTip); }

void MacStatusItem::setMenu(std::shared_ptr<NativeMenu> menu) {
    if (auto* previous = dynamic_cast<MacNativeMenu*>(menu_.get())) previous->setEvents({});
    menu_ = std::move(menu);
    auto* mac = dynamic_cast<MacNativeMenu*>(menu_.get());
    if (mac) {
        mac->setEvents(MenuEvents{
            [this] { reportMenuWillOpen(); },
            [this] { reportMenuDidClose(); },
            [this](NativeMenuItem* highlighted) { reportHighlight(highlighted); },
        });
    }
    // The same NSMenu stays assigned while the builder edits it; only a different menu is set.
    NSMenu* native = mac ? mac->nsMenu() : nil;
    if (item().menu != native) item().menu = native;
}

void MacStatusItem::remove() {
    if (auto* mac = dynamic_cast<MacNativeMenu*>(menu_.get())) mac->setEvents({});
    if (item_) [NSStatusBar.systemStatusBar removeStatusItem:item_];
    item_ = nil;
    removed_ = true;
}

}  // namespace corvane::mac
