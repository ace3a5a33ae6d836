// Writes the app's launcher icon, the status icon's bolt as an SVG document, to the path given:
// the packaged icon comes from the same vector data the tray draws.

#include <fstream>
#include <iostream>

#include "menu/IconRenderer.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: corvane-icon-svg OUTPUT.svg\n";
        return 2;
    }
    std::ofstream out(argv[1], std::ios::trunc);
    out << corvane::toSvg(corvane::IconRenderer::image(corvane::IconState::running, std::nullopt, false));
    return out.good() ? 0 : 1;
}
