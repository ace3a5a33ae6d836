#pragma once

// Makes Qt's StatusNotifierItem and its exported menu (dbusmenu) what panels expect, through
// public QObject API on the objects Qt registers on its tray connection:
//   - `IconThemePath` answers on both interfaces (Qt lists it in its introspection but answers
//     "no such property", which LXQt logs for every item): an empty path, as the icon is a pixmap;
//   - `LayoutUpdated` goes out once per change of the menu's structure instead of once per row
//     inserted or removed (Qt's exporter signals each; a rebuild that swapped 13 rows sent 26),
//     and only from the newest menu adaptor (Qt leaves an adaptor per tray icon it ever made on
//     the same menu, each relaying every signal; older ones stop relaying property changes too). Its revision grows by one per change. Qt's
//     `GetLayout` answers revision 1 for the top level whatever it signalled; hosts refetch on
//     each signal, so that is harmless once the signals are few.
// When Qt's objects are not where they are looked for (another Qt), nothing changes. GUI thread.

#include <QObject>
#include <QPointer>
#include <QSet>
#include <QTimer>

namespace corvane {

class QtDBusMenuExport final : public QObject {
    Q_OBJECT
public:
    explicit QtDBusMenuExport(QObject* parent = nullptr);

    // Adopts the objects of the newest tray icon; call once its icon is shown. False when there
    // is no StatusNotifierItem of this process (an XEmbed icon).
    bool attach();

private Q_SLOTS:
    void layoutChanged(uint revision, int parent);

private:
    void flush();

    QPointer<QObject> menu_;     // Qt's exported menu object (/MenuBar)
    QPointer<QObject> adaptor_;  // its newest com.canonical.dbusmenu adaptor
    QTimer flush_;
    QSet<int> parents_;
    uint revision_ = 1;
    uint pendingRevision_ = 0;
};

}  // namespace corvane
