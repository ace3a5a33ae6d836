#include "QtSessionFocus.h"

#include <QGuiApplication>

#include <xcb/xcb.h>

#include <dirent.h>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <vector>

namespace corvane {
namespace {

struct ProcessLink {
    long parent = 0;
    long ttyNumber = 0;
};

// Parent and controlling terminal of every process we may read (fields 4 and 7 of
// /proc/PID/stat; the command name before them may hold spaces and parentheses).
std::map<long, ProcessLink> processTable() {
    std::map<long, ProcessLink> table;
    DIR* proc = ::opendir("/proc");
    if (!proc) return table;
    while (dirent* entry = ::readdir(proc)) {
        char* end = nullptr;
        const long pid = std::strtol(entry->d_name, &end, 10);
        if (!end || *end != '\0' || pid <= 0) continue;
        std::ifstream stat(std::string("/proc/") + entry->d_name + "/stat");
        std::string line;
        if (!std::getline(stat, line)) continue;
        auto close = line.rfind(')');
        if (close == std::string::npos) continue;
        std::istringstream rest(line.substr(close + 1));
        std::string state;
        long group = 0, session = 0;
        ProcessLink link;
        if (rest >> state >> link.parent >> group >> session >> link.ttyNumber) table[pid] = link;
    }
    ::closedir(proc);
    return table;
}

bool sameTerminal(long ttyNumber, dev_t device) {
    // The kernel's encoding of a device number in /proc/PID/stat.
    const auto value = static_cast<unsigned long>(ttyNumber);
    const unsigned long majorNumber = (value >> 8) & 0xfff;
    const unsigned long minorNumber = (value & 0xff) | ((value >> 12) & 0xfff00);
    return ttyNumber != 0 && majorNumber == major(device) && minorNumber == minor(device);
}

xcb_atom_t atom(xcb_connection_t* connection, const char* name) {
    auto cookie = xcb_intern_atom(connection, 1, static_cast<std::uint16_t>(std::strlen(name)), name);
    xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(connection, cookie, nullptr);
    if (!reply) return XCB_ATOM_NONE;
    xcb_atom_t result = reply->atom;
    std::free(reply);
    return result;
}

std::vector<std::uint32_t> cardinals(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t property,
                                     xcb_atom_t type, std::uint32_t maxCount) {
    std::vector<std::uint32_t> values;
    auto cookie = xcb_get_property(connection, 0, window, property, type, 0, maxCount);
    xcb_get_property_reply_t* reply = xcb_get_property_reply(connection, cookie, nullptr);
    if (!reply) return values;
    if (reply->format == 32) {
        const auto* data = static_cast<const std::uint32_t*>(xcb_get_property_value(reply));
        const int count = xcb_get_property_value_length(reply) / 4;
        values.assign(data, data + count);
    }
    std::free(reply);
    return values;
}

}  // namespace

bool raiseSessionWindow(const std::string& tty, std::int32_t appPid) {
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection()) return false;
    xcb_connection_t* connection = x11->connection();

    // The processes whose window would show the session, nearest first: the app itself, then
    // the ancestors of every process on the session's terminal.
    std::map<long, int> wanted;  // pid → rank (lower is better)
    if (appPid > 0) wanted[appPid] = 0;
    struct stat device {};
    const std::string ttyPath = tty.rfind("/dev/", 0) == 0 ? tty : "/dev/" + tty;
    if (!tty.empty() && tty.find("..") == std::string::npos && ::stat(ttyPath.c_str(), &device) == 0 &&
        S_ISCHR(device.st_mode)) {
        const auto table = processTable();
        for (const auto& [pid, link] : table) {
            if (!sameTerminal(link.ttyNumber, device.st_rdev)) continue;
            long current = link.parent;
            for (int depth = 1; current > 1 && depth < 64; ++depth) {
                auto known = wanted.find(current);
                if (known == wanted.end() || known->second > depth) wanted[current] = depth;
                auto up = table.find(current);
                if (up == table.end()) break;
                current = up->second.parent;
            }
        }
    }
    if (wanted.empty()) return false;

    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    if (!screen) return false;
    const xcb_atom_t clientList = atom(connection, "_NET_CLIENT_LIST");
    const xcb_atom_t wmPid = atom(connection, "_NET_WM_PID");
    const xcb_atom_t activeWindow = atom(connection, "_NET_ACTIVE_WINDOW");
    if (clientList == XCB_ATOM_NONE || wmPid == XCB_ATOM_NONE || activeWindow == XCB_ATOM_NONE) return false;

    xcb_window_t best = XCB_WINDOW_NONE;
    int bestRank = 1 << 30;
    for (std::uint32_t window : cardinals(connection, screen->root, clientList, XCB_ATOM_WINDOW, 4096)) {
        auto pid = cardinals(connection, window, wmPid, XCB_ATOM_CARDINAL, 1);
        if (pid.empty()) continue;
        auto found = wanted.find(static_cast<long>(pid.front()));
        if (found != wanted.end() && found->second < bestRank) {
            best = window;
            bestRank = found->second;
        }
    }
    if (best == XCB_WINDOW_NONE) return false;

    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = best;
    message.type = activeWindow;
    message.data.data32[0] = 2;  // the request comes from a pager-like tool, which WMs honour
    message.data.data32[1] = XCB_CURRENT_TIME;
    xcb_send_event(connection, 0, screen->root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(connection);
    return true;
}

}  // namespace corvane
