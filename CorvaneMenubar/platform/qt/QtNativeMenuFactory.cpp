#include "QtNativeMenuFactory.h"

#include "QtNativeMenu.h"
#include "QtNativeMenuItem.h"

namespace corvane {

std::shared_ptr<NativeMenuItem> QtNativeMenuFactory::makeItem() { return std::make_shared<QtNativeMenuItem>(false); }
std::shared_ptr<NativeMenuItem> QtNativeMenuFactory::makeSeparator() { return std::make_shared<QtNativeMenuItem>(true); }
std::shared_ptr<NativeMenu> QtNativeMenuFactory::makeMenu() { return std::make_shared<QtNativeMenu>(); }

}  // namespace corvane
