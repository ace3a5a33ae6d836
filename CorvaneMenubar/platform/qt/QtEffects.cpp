#include "QtEffects.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QMessageBox>
#include <QProcess>
#include <QStringList>
#include <QUrl>

#include <cstdlib>
#include <unistd.h>

#include "BoundedFile.h"
#include "QtSessionFocus.h"
#include "app/TrayChoice.h"
#include "TerminalScript.h"
#include "UntrustedInput.h"

namespace corvane {

bool programIsOnPath(std::string_view program, std::string_view path) {
    if (program.empty()) return false;
    auto executable = [](const std::string& file) { return ::access(file.c_str(), X_OK) == 0; };
    if (program.find('/') != std::string_view::npos) return executable(std::string(program));
    std::size_t start = 0;
    while (start <= path.size()) {
        auto end = path.find(':', start);
        auto folder = path.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start);
        if (!folder.empty() && executable(std::string(folder) + "/" + std::string(program))) return true;
        if (end == std::string_view::npos) break;
        start = end + 1;
    }
    return false;
}

QtEffects::QtEffects(StartDetached startDetached, std::function<std::optional<std::string>()> terminalVariable,
                     std::function<bool(std::string_view program)> isOnPath, WriteScript writeScript)
    : startDetached_(std::move(startDetached)),
      terminalVariable_(std::move(terminalVariable)),
      isOnPath_(std::move(isOnPath)),
      writeScript_(std::move(writeScript)) {
    if (!startDetached_) {
        startDetached_ = [](const std::vector<std::string>& argv) {
            if (argv.empty()) return false;
            QStringList arguments;
            for (std::size_t i = 1; i < argv.size(); ++i) arguments << QString::fromStdString(argv[i]);
            return QProcess::startDetached(QString::fromStdString(argv[0]), arguments);
        };
    }
    if (!terminalVariable_) {
        terminalVariable_ = []() -> std::optional<std::string> {
            const char* value = std::getenv("TERMINAL");
            if (!value) return std::nullopt;
            return std::string(value);
        };
    }
    if (!isOnPath_) {
        isOnPath_ = [](std::string_view program) {
            const char* path = std::getenv("PATH");
            return programIsOnPath(program, path ? path : "/usr/local/bin:/usr/bin:/bin");
        };
    }
    if (!writeScript_) {
        writeScript_ = [](const std::string& text) -> std::optional<std::string> {
            const std::string folder = privateRuntimeFolder();
            if (folder.empty()) return std::nullopt;
            return createPrivateFile(folder, "corvane-terminal-", ".sh", text, 0700);
        };
    }
}

void QtEffects::openUrl(const std::string& url) { QDesktopServices::openUrl(QUrl(QString::fromStdString(url))); }

void QtEffects::openFile(const std::string& path) {
    QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(path)));
}

void QtEffects::copyText(const std::string& text) {
    ClipboardFacts facts;
    facts.nativeWayland = QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
    facts.waylandSession = facts.nativeWayland || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    facts.appHasFocus = QGuiApplication::focusWindow() != nullptr;
    facts.copyToolInstalled = isOnPath_("wl-copy");
    // Said rather than leave the old contents for the user to paste unawares.
    const std::string ownMenu =
        " Choose the row in " + QGuiApplication::applicationDisplayName().toStdString() + "'s own menu (left click).";
    const auto cannotCopy = [this](const std::string& why) { showAlert("Could not copy to the clipboard", why); };
    switch (clipboardRoute(facts)) {
        case ClipboardRoute::toolkit:
            QGuiApplication::clipboard()->setText(QString::fromStdString(text), QClipboard::Clipboard);
            return;
        case ClipboardRoute::cannot:
            cannotCopy("On Wayland, a row chosen in the panel's menu reaches the clipboard only through wl-copy "
                       "(the wl-clipboard package): install it." + ownMenu);
            return;
        case ClipboardRoute::copyTool:
            break;
    }
    // The text goes through standard input (never the command line, which other users can read);
    // wl-copy stays in the background serving it until something else is copied.
    auto* process = new QProcess(qApp);
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    const std::string failed = "wl-copy could not set the clipboard." + ownMenu;
    QObject::connect(process, &QProcess::finished, process,
                     [process, cannotCopy, failed](int code, QProcess::ExitStatus status) {
                         process->deleteLater();
                         if (status != QProcess::NormalExit || code != 0) cannotCopy(failed);
                     });
    QObject::connect(process, &QProcess::errorOccurred, process,
                     [process, cannotCopy, failed](QProcess::ProcessError error) {
                         if (error != QProcess::FailedToStart) return;
                         process->deleteLater();
                         cannotCopy(failed);
                     });
    process->start(QStringLiteral("wl-copy"), {QStringLiteral("--type"), QStringLiteral("text/plain;charset=utf-8")});
    process->write(QByteArray::fromStdString(text));
    process->closeWriteChannel();
}

std::optional<TerminalError> QtEffects::openTerminal(const std::string& commandLine) {
    const auto terminal = terminalVariable_();
    if (!linuxTerminalInvocation(terminal, isOnPath_, commandLine)) return TerminalError{terminalNotFoundCode};
    // The line goes through a script file of the app's; without a private folder for one, the
    // line itself (which every terminal but a re-splitting launcher passes on whole).
    const auto script = writeScript_(terminalScriptText(commandLine));
    const auto argv = script ? linuxTerminalScriptInvocation(terminal, isOnPath_, *script)
                             : linuxTerminalInvocation(terminal, isOnPath_, commandLine);
    if (startDetached_(*argv)) return std::nullopt;
    if (script) ::unlink(script->c_str());
    return TerminalError{terminalStartFailedCode};
}

SessionFocus QtEffects::focusSession(const std::string& tty, std::int32_t appPid) {
    return SessionFocus{raiseSessionWindow(tty, appPid), std::nullopt};
}

void QtEffects::showAlert(const std::string& message, const std::string& informative) {
    QMessageBox box(QMessageBox::Warning, QString::fromStdString(message), QString::fromStdString(message),
                    QMessageBox::Ok);
    box.setInformativeText(QString::fromStdString(informative));
    box.setWindowFlag(Qt::WindowStaysOnTopHint);
    box.raise();
    box.activateWindow();
    box.exec();
}

void QtEffects::activateApp() {}

}  // namespace corvane
