#include "Terminal.h"

#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

// Last: these define short words as macros.
#include <curses.h>
#include <term.h>

namespace {

std::string *padded = nullptr; // where tputs() puts its characters: it knows no other way to hand them on

int putIntoText(int character) {
    padded->push_back(static_cast<char>(character));
    return character;
}

// What makes the terminal do something; empty when it can't.
std::string command(const char *capability) {
    // The library's oldest functions take names as changeable texts and leave them alone.
    const char *text =
        tigetstr(const_cast<char *>(capability)); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    if (text == nullptr || reinterpret_cast<std::intptr_t>(text) == -1)
        return {};
    std::string result;
    padded = &result;
    static_cast<void>(tputs(text, 1, putIntoText)); // fails for no text only
    padded = nullptr;
    return result;
}

} // namespace

std::unique_ptr<Terminal> Terminal::open(Output &out) {
    int known = 0;
    if (isatty(out.descriptor()) == 0 || setupterm(nullptr, out.descriptor(), &known) != OK)
        return nullptr;
    std::unique_ptr<Terminal> terminal(new Terminal(out));
    return terminal->m_clearLine.empty() || terminal->m_clearToEnd.empty() ? nullptr : std::move(terminal);
}

Terminal::Terminal(Output &out)
    : m_out(out)
    , m_clearLine(command("el"))
    , m_clearToEnd(command("ed"))
    , m_hideCursor(command("civis"))
    , m_showCursor(command("cnorm"))
    , m_plain(command("sgr0")) {
    // Only the terminal's characters are of interest: numbers stay as they are.
    const char *locale = std::setlocale(LC_CTYPE, ""); // NOLINT(concurrency-mt-unsafe): no other thread asks
    m_utf8 = locale != nullptr &&
             std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0; // NOLINT(concurrency-mt-unsafe): likewise
}

Terminal::~Terminal() {
    restore();
    static_cast<void>(del_curterm(set_curterm(nullptr))); // fails for none only
}

std::string Terminal::coloured(Colour colour, const std::string &text) const {
    const char *unwanted = std::getenv("NO_COLOR"); // NOLINT(concurrency-mt-unsafe): no other thread sets it
    const char *foreground =
        tigetstr(const_cast<char *>("setaf")); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    const bool knows = foreground != nullptr && reinterpret_cast<std::intptr_t>(foreground) != -1;
    if (!knows || m_plain.empty() || (unwanted != nullptr && *unwanted != '\0'))
        return text;
    const int number = colour == Colour::red     ? COLOR_RED
                       : colour == Colour::green ? COLOR_GREEN
                                                 : COLOR_YELLOW;
    const char *begin = tiparm(foreground, number);
    return begin == nullptr ? text : begin + text + m_plain;
}

bool Terminal::take() noexcept {
    if (!isInForeground()) {
        m_taken = false;
        return false;
    }
    if (m_taken || tcgetattr(m_out.descriptor(), &m_modes) != 0)
        return true;
    termios silent = m_modes;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    static_cast<void>(tcsetattr(m_out.descriptor(), TCSANOW, &silent)); // without it keys show, no more
    write(m_hideCursor);
    m_taken = true;
    return true;
}

void Terminal::restore() noexcept {
    if (!m_taken || !isInForeground())
        return;
    // At once: the output may be held up for ever. Nothing more can be done when it fails.
    static_cast<void>(tcsetattr(m_out.descriptor(), TCSANOW, &m_modes));
    m_taken = false;
    write(m_showCursor);
}

// Where there is no control of jobs nothing is in the background.
bool Terminal::isInForeground() const noexcept {
    const pid_t foreground = tcgetpgrp(m_out.descriptor());
    return foreground == -1 || foreground == getpgrp();
}

int Terminal::width() const {
    winsize size{};
    if (ioctl(m_out.descriptor(), TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    const int usual = tigetnum(const_cast<char *>("cols")); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    return usual > 0 ? usual : 80;
}

void Terminal::overwrite(const std::string &text) {
    // What is cleared last is never a whole screen, which some terminals would keep for scrolling back.
    write("\r" + m_clearLine + text + m_clearToEnd + "\r");
}
