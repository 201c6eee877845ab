#include "Bar.h"

#include "Terminal.h"

namespace {

constexpr Glyphs ascii = {"#", "-"};
constexpr Glyphs blocks = {"\u2588", "\u2591"};

} // namespace

Glyphs glyphsFor(const Terminal &terminal) {
    return terminal.showsUtf8() ? blocks : ascii;
}

std::string drawnBar(int percent, int columns, const Glyphs &glyphs) {
    const int full = columns * percent / 100;
    std::string text;
    for (int column = 0; column < columns; ++column)
        text += column < full ? glyphs.full : glyphs.empty;
    return text;
}
