#pragma once

#include <string>

class Terminal;

// What a bar's full and empty parts are made of, each one column wide.
struct Glyphs {
    const char *full;
    const char *empty;
};

Glyphs glyphsFor(const Terminal &terminal);

std::string drawnBar(int percent, int columns, const Glyphs &glyphs);
