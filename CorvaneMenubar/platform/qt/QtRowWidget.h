#pragma once

// The base of every custom menu row: a widget that a `QtNativeMenuItem` sets as the default
// widget of its QWidgetAction. The row draws from the item's portable state and re-reads it on
// `sync`; it never owns a decision.

#include <QSize>
#include <QWidget>

#include "menu/NativeMenu.h"
#include "menu/RowLayout.h"

class QMenu;

namespace corvane {

class QtNativeMenuItem;

class QtRowWidget : public QWidget {
public:
    // What kind of widget an item needs; `none` for an item drawn by the style like any plain
    // action.
    enum class Kind { none, agent, cliUpdate, dismissible, hosted, title };
    static Kind kindFor(const NativeMenuItem& item);
    // A new widget of `kindFor(item)`, or null for `none`.
    static QtRowWidget* create(QtNativeMenuItem& item);

    explicit QtRowWidget(QtNativeMenuItem& item);
    virtual Kind kind() const = 0;
    // The item changed (content, titles, enabling, highlight): re-read it and repaint.
    virtual void sync() = 0;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

    QtNativeMenuItem& item() const { return item_; }

protected:
    // The width the row needs to show its texts without eliding (the menu is at least 320 wide).
    virtual int naturalWidth() const = 0;
    // The item's content when it is a `T`. A widget keeps a copy of what it shows from its last
    // `sync`: the item changes first and tells the widget after, and the widget may be asked to
    // hide or paint in between.
    template <class T>
    const T* contentAs() const {
        const auto& content = itemContent();
        return content ? std::get_if<T>(&*content) : nullptr;
    }
    const std::optional<RowContent>& itemContent() const;
    // The menu holding the row, or null while the row is not shown.
    QMenu* menu() const;
    // `layout` as this row shows it: its texts on the column where the popup's style starts plain
    // items' titles (one left edge for every row), then mirrored in a right-to-left layout.
    RowLayout placed(RowLayout layout) const;
    // `naturalWidth` for layouts made by `make(width)`, their texts on that column.
    template <class Make>
    int placedNaturalWidth(Make make) const;
    // Chooses a part of the row. The item's handler closes the menu when the row acts.
    void choose(const Activation& activation);
    bool event(QEvent* event) override;

private:
    std::optional<double> textColumn() const;
    static int naturalWidthOf(const RowLayout& layout, double laidOutWidth);

    QtNativeMenuItem& item_;
};

template <class Make>
int QtRowWidget::placedNaturalWidth(Make make) const {
    constexpr double wide = 4000;
    auto layout = make(wide);
    if (const auto column = textColumn()) layout = atTextColumn(std::move(layout), *column);
    return naturalWidthOf(layout, wide);
}

}  // namespace corvane
