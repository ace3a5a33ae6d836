#pragma once

// What a screen reader hears of the app's own popup. Qt shows assistive technology a menu's
// QActions, never the row widgets drawn for them, so a custom row's own accessible name never
// reaches the bus and a row has only the one "press" action. Here every row's action gets an
// accessible item that says the row's whole text (title, status, subtitle, action title: the
// plain surface's spoken name, never the text shortened to the menu's width), is a check item
// where the row has a check mark, and offers one action per target of the row (an agent row:
// open in its harness, open in Corvane; a dismissible row: dismiss). GUI thread only.

class QAction;

namespace corvane {

class QtNativeMenuItem;

// Installs the accessibility factory once (idempotent); call after the QApplication exists.
void installMenuAccessibility();

// Marks `action` as the popup action of `item` (null: no longer).
void setAccessibleItem(QAction& action, QtNativeMenuItem* item);

}  // namespace corvane
