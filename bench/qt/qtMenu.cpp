// The Qt popup menu's costs, measured on the offscreen platform (QT_QPA_PLATFORM=xcb under Xvfb
// measures a real X server):
//   - click to popup painted: from the call that opens the popup to the end of its first paint,
//     for the demo menu and for 200 agent rows (median of 20 openings);
//   - an in-place rewrite of the open 200-row menu: main-thread time of the build's application
//     and the relayout it causes (median of 50 rewrites);
//   - CPU of the process with 3 working sessions pulsing in the open menu, over 10 s.
// Usage: bench-qtMenu [--seconds N]

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QMenu>
#include <QPaintEvent>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "menu/MenuBuilder.h"
#include "MenuDecode.h"
#include "menu/MemoryMenu.h"
#include "platform/headless/MemoryStatusItem.h"
#include "platform/qt/QtMenuPresenter.h"
#include "platform/qt/QtNativeMenu.h"
#include "platform/qt/QtNativeMenuFactory.h"
#include "platform/qt/QtPopupMenu.h"
#include "platform/qt/QtTextMeasure.h"

using namespace corvane;

namespace {

double processCpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

MenuAction url(const std::string& title) { return MenuAction{title, verb::Url{"https://example.com"}, std::nullopt, std::nullopt, true}; }

MenuItem agent(int index, const std::string& status, int minutes) {
    const std::string id = "ses_" + std::to_string(index);
    return row::Agent{AgentRow{id, "claude", status, std::nullopt, url("Open in Claude"),
                               url("Session " + std::to_string(index) + " · " + std::to_string(minutes) + "m ago")}};
}

std::vector<MenuItem> agents(int count, int working, int minutes) {
    std::vector<MenuItem> out{row::Section{"Agents"}};
    for (int i = 0; i < count; ++i) out.push_back(agent(i, i < working ? "working" : "idle", minutes));
    return out;
}

std::vector<MenuItem> demoItems() {
    QFile file(QStringLiteral(CORVANE_TEST_DATA_DIR "/sample-menu.json"));
    if (!file.open(QIODevice::ReadOnly)) return {};
    const QByteArray bytes = file.readAll();
    const auto decoded = decodeMenuPayload(std::string_view(bytes.constData(), std::size_t(bytes.size())), Instant{});
    const auto* payload = std::get_if<MenuPayload>(&decoded);
    return payload ? payload->items : std::vector<MenuItem>{};
}

// Ends the wait at the end of the popup's first paint.
class FirstPaint : public QObject {
public:
    bool painted = false;
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            static_cast<QWidget*>(watched)->removeEventFilter(this);
            // The paint itself runs after the filter: post a marker behind it.
            QTimer::singleShot(0, this, [this] { painted = true; });
        }
        return false;
    }
};

struct Rig {
    QtNativeMenuFactory factory;
    QtTextMeasure measure;
    MenuBuilder builder{factory, measure, MenuBuilderHooks{[](const MenuAction&) {}, [] { return false; }, [] {}, [] {}, [] {}, [] { return false; }}, "Corvane"};
    MemoryStatusItem statusItem;
    QtMenuPresenter presenter{statusItem, QStringLiteral("Corvane"), QtMenuPresenter::Placement::popup};
    Rig() {
        statusItem.setMenu(builder.menu());
        presenter.setMenu(builder.menu());
    }
    QMenu& popup() { return *presenter.popupMenu(); }
    void close() {
        presenter.close();
        QApplication::processEvents();
    }
};

double clickToPaint(Rig& rig) {
    std::vector<double> samples;
    for (int i = 0; i < 20; ++i) {
        FirstPaint marker;
        rig.popup().installEventFilter(&marker);
        QElapsedTimer timer;
        timer.start();
        rig.presenter.popupAt(QPoint(10, 10));
        while (!marker.painted) QApplication::processEvents(QEventLoop::WaitForMoreEvents);
        samples.push_back(double(timer.nsecsElapsed()) / 1e6);
        rig.close();
    }
    return median(samples);
}

}  // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    double seconds = 10;
    for (int i = 1; i + 1 < argc; ++i)
        if (std::strcmp(argv[i], "--seconds") == 0) seconds = std::atof(argv[i + 1]);

    Rig rig;
    rig.builder.submit(MenuBuild{demoItems(), std::vector<MenuItem>{}, false});
    std::printf("click to popup painted, demo menu: %.1f ms (median of 20)\n", clickToPaint(rig));

    rig.builder.submit(MenuBuild{agents(200, 0, 1), std::vector<MenuItem>{}, false});
    std::printf("click to popup painted, 200 agent rows: %.1f ms (median of 20)\n", clickToPaint(rig));

    rig.presenter.popupAt(QPoint(10, 10));
    QApplication::processEvents();
    std::vector<double> rewrites;
    for (int i = 0; i < 50; ++i) {
        QElapsedTimer timer;
        timer.start();
        rig.builder.submit(MenuBuild{agents(200, i % 2 ? 3 : 0, 2 + i), std::vector<MenuItem>{}, false});
        QApplication::processEvents();  // the held-back relayout and the repaint
        rewrites.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::printf("in-place rewrite of the open 200-row menu: %.2f ms main thread (median of 50, with repaint)\n",
                median(rewrites));
    std::vector<double> builds;
    for (int i = 0; i < 20; ++i) {
        QElapsedTimer timer;
        timer.start();
        auto fresh = rig.builder.build(MenuBuild{agents(200, 3, 70 + i), std::vector<MenuItem>{}, false});
        builds.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::printf("  of which the off-screen build: %.2f ms (median of 20)\n", median(builds));
    rig.close();

    rig.builder.submit(MenuBuild{agents(12, 3, 1), std::vector<MenuItem>{}, false});
    rig.presenter.popupAt(QPoint(10, 10));
    QApplication::processEvents();
    const double cpuBefore = processCpuSeconds();
    QElapsedTimer wall;
    wall.start();
    QTimer::singleShot(int(seconds * 1000), &app, &QApplication::quit);
    app.exec();
    const double cpu = processCpuSeconds() - cpuBefore;
    std::printf("CPU with 3 working sessions pulsing, menu open: %.2f %% of one core over %.0f s\n",
                100.0 * cpu / (double(wall.nsecsElapsed()) / 1e9), seconds);
    rig.close();
    return 0;
}
