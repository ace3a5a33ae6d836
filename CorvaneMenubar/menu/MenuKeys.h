#pragma once

// What a key does on the highlighted row of the app's own menu, the same in every shell: Return
// chooses the row (an agent row reads Option, Alt on Linux, as "open in Corvane"); Option-Return
// and Delete dismiss a row that offers a dismiss part.

#include <optional>

#include "NativeMenu.h"

namespace corvane {

enum class MenuKey {
    enter,  // Return or Enter
    erase,  // Delete or BackSpace (Delete or Forward Delete on a Mac keyboard)
};

// The part to choose, or none when the key means nothing special on this row and the toolkit
// handles it as usual (Return on a plain row chooses it through the toolkit).
std::optional<Activation> keyActivation(const NativeMenuItem& item, MenuKey key, bool optionPressed);

}  // namespace corvane
