// The Qt tests' entry point: one QApplication for every case, on the offscreen platform unless
// the caller chose another (the discovery run sets nothing).
#include <QApplication>

#include <gtest/gtest.h>

// In the sanitizer build: memory the system libraries under Qt keep until exit (font
// configuration, the D-Bus and X connections, the GLib event dispatcher) is theirs, not a leak of
// ours. Allocations made by our code are still reported.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig.so\n"
           "leak:libdbus-1.so\n"
           "leak:libglib-2.0.so\n"
           "leak:libX11.so\n"
           "leak:libxcb\n"
           "leak:libxkbcommon.so\n"
           "leak:libfreetype.so\n";
}

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
