#include "MenuKeys.h"

namespace corvane {

std::optional<Activation> keyActivation(const NativeMenuItem& item, MenuKey key, bool optionPressed) {
    const auto& content = item.content();
    const bool dismissible = content && std::holds_alternative<DismissibleRowContent>(*content);
    const auto* status = std::get_if<role::StatusAction>(&item.role());
    const bool offersDismiss = dismissible || (status && status->dismiss);
    if (key == MenuKey::erase) {
        if (!offersDismiss) return std::nullopt;
        return Activation{RowPart::dismiss, optionPressed};
    }
    if (optionPressed && offersDismiss) return Activation{RowPart::dismiss, true};
    if (status || dismissible || (content && std::holds_alternative<AgentRowContent>(*content)))
        return Activation{RowPart::main, optionPressed};
    return std::nullopt;
}

}  // namespace corvane
