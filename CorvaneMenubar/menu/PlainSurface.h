#pragma once

// The menu as a surface that shows text only sees it: the panel's exported menu (dbusmenu cannot
// carry custom rows), the fallback window's list and the headless shell. Every such surface
// renders this one description of the live menu, so each target the popup offers (an agent's
// harness and Corvane, every dismiss, a status row's action under its own title) is reachable
// from every surface, and the surfaces cannot disagree about a row's text or what it does.
//
// A text-only surface lays each row out the same way:
//   - a separator row: a separator;
//   - a row with `children`: a submenu titled `text` holding them;
//   - a row whose single target is the row itself (`targetsAreRow`): an item titled `text` that
//     chooses it, with a check mark when `check` says so;
//   - any other row with targets: a submenu titled `text` with one item per target, titled with
//     the target's own title ("Open in Claude", "Open in Corvane", "Dismiss");
//   - a row without targets: a disabled item titled `text`.
// Texts are whole (never shortened to a width; only capped at `displayTextLimit` like every shown
// text). Keys stay the same while a row shows the same thing (an agent whose status changed, a
// status row with a new subtitle), so a surface can keep its own objects (dbusmenu ids) per key.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "NativeMenu.h"

namespace corvane {

// One way of choosing a row.
struct PlainTarget {
    std::string key;        // the row's key, "/" and the part's word: "agent:s1/harness"
    std::string title;      // what choosing does, in words
    Activation activation;  // what the row's item is fired with
    bool operator==(const PlainTarget&) const = default;
};

enum class PlainCheck { none, off, on };

struct PlainRow {
    std::string key;  // unique in the tree; a submenu's rows start with its key and "/"
    bool separator = false;
    std::string text;        // one line, the row's parts joined by " — "
    std::string spokenName;  // what a screen reader says: the parts (and the action) joined by ", "
    bool enabled = true;
    PlainCheck check = PlainCheck::none;
    std::vector<PlainTarget> targets;  // empty: nothing to choose
    bool targetsAreRow = false;        // the single target is the row itself
    std::vector<PlainRow> children;    // a submenu's rows
    bool operator==(const PlainRow&) const = default;
};

// "main", "harness", "corvane", "dismiss" (the headless shell's words for the parts too).
std::string_view rowPartWord(RowPart part);
std::optional<RowPart> rowPartFromWord(std::string_view word);

// The key of one item, before repeats in its menu are told apart.
std::string plainRowKey(const NativeMenuItem& item);
// One item without its submenu's rows; `key` is the item's key in the tree.
PlainRow plainRow(const NativeMenuItem& item, std::string key);
// The whole tree of `menu`.
std::vector<PlainRow> plainSurface(const NativeMenu& menu);
// The keys of `menu`'s items, in order, repeats told apart ("action:Copy#2"), each after
// `prefix` (a submenu's key and "/", or empty for the top level).
std::vector<std::string> plainKeys(const NativeMenu& menu, const std::string& prefix = {});
std::vector<std::string> plainKeys(const std::vector<std::shared_ptr<NativeMenuItem>>& items,
                                   const std::string& prefix = {});

// A menu too tall for the screen on a surface that does not scroll its top level (GNOME's panel
// menus): the rows of one section that move into a submenu of their own, titled
// `plainFoldTitle` ("4 more") and shown where they were.
struct PlainFold {
    std::size_t first = 0;  // the first row moved, an index in the level
    std::size_t count = 0;  // how many rows move
    bool operator==(const PlainFold&) const = default;
};
// At most this many rows (separators included) fit a panel menu's top level on a 1280×800 screen.
inline constexpr std::size_t plainTopLevelRowLimit = 20;
// The folds that bring a level of `separators.size()` rows (true: a separator) down to `limit`
// rows: while it is too long, the section (rows between separators) that shows the most rows
// keeps one row fewer, the rest of it behind its fold's row; a section keeps at least one row
// and folds only when that shortens it, and the level's last row (the app's "More") stays where
// it is. In row order; none when the level fits.
std::vector<PlainFold> plainFolds(const std::vector<bool>& separators, std::size_t limit = plainTopLevelRowLimit);
std::string plainFoldTitle(const PlainFold& fold);

// Whether a text-only surface shows `row`'s targets as a submenu of their own.
bool listsTargets(const PlainRow& row);

// Chooses the target with `key` in the menu as it is now; false when no such target exists or
// its row cannot be chosen now (disabled, or gone since the surface was drawn).
bool choosePlainTarget(const NativeMenu& menu, std::string_view key);

}  // namespace corvane
