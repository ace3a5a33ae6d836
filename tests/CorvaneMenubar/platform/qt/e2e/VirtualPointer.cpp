// A hand for compositors without input devices (headless sway): moves a new virtual pointer to
// X Y on a WIDTHxHEIGHT output and, given a button (1 left, 2 middle, 3 right), clicks it.
// Usage: virtual-pointer X Y [BUTTON [WIDTH HEIGHT]]. Needs zwlr_virtual_pointer_manager_v1.
#include <wayland-client.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "wlr-virtual-pointer-unstable-v1-client.h"

namespace {
zwlr_virtual_pointer_manager_v1* manager = nullptr;
wl_seat* seat = nullptr;

void announced(void*, wl_registry* registry, uint32_t name, const char* interface, uint32_t) {
    if (std::strcmp(interface, zwlr_virtual_pointer_manager_v1_interface.name) == 0)
        manager = static_cast<zwlr_virtual_pointer_manager_v1*>(
            wl_registry_bind(registry, name, &zwlr_virtual_pointer_manager_v1_interface, 1));
    else if (std::strcmp(interface, wl_seat_interface.name) == 0)
        seat = static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, 1));
}
void removed(void*, wl_registry*, uint32_t) {}
const wl_registry_listener listener{announced, removed};

void pause(int milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }
}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s X Y [BUTTON [WIDTH HEIGHT]]\n", argv[0]);
        return 2;
    }
    const auto x = static_cast<uint32_t>(std::atoi(argv[1])), y = static_cast<uint32_t>(std::atoi(argv[2]));
    const int button = argc > 3 ? std::atoi(argv[3]) : 0;
    const auto width = static_cast<uint32_t>(argc > 5 ? std::atoi(argv[4]) : 1280);
    const auto height = static_cast<uint32_t>(argc > 5 ? std::atoi(argv[5]) : 800);
    wl_display* display = wl_display_connect(nullptr);
    if (!display) {
        std::fprintf(stderr, "no Wayland display\n");
        return 1;
    }
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &listener, nullptr);
    wl_display_roundtrip(display);
    if (!manager) {
        std::fprintf(stderr, "the compositor offers no virtual pointer\n");
        return 1;
    }
    auto* pointer = zwlr_virtual_pointer_manager_v1_create_virtual_pointer(manager, seat);
    zwlr_virtual_pointer_v1_motion_absolute(pointer, 0, x, y, width, height);
    zwlr_virtual_pointer_v1_frame(pointer);
    wl_display_roundtrip(display);
    pause(100);
    if (button >= 1 && button <= 3) {
        // Linux input codes: BTN_LEFT, BTN_MIDDLE, BTN_RIGHT.
        const uint32_t code = button == 1 ? 0x110 : button == 2 ? 0x112 : 0x111;
        for (uint32_t state : {1u, 0u}) {
            zwlr_virtual_pointer_v1_button(pointer, state ? 10 : 80, code, state);
            zwlr_virtual_pointer_v1_frame(pointer);
            wl_display_roundtrip(display);
            pause(60);
        }
    }
    pause(100);
    zwlr_virtual_pointer_v1_destroy(pointer);
    wl_display_roundtrip(display);
    wl_display_disconnect(display);
    return 0;
}
