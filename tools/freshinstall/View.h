// Where an installation is shown: in a terminal, as plain lines, or as JSON lines.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "Ending.h"
#include "Progress.h"

struct Retry {
    unsigned attempt; // from 1
    unsigned of;
    std::chrono::seconds pause; // before it begins
};

class View {
public:
    View() = default;
    virtual ~View() = default;
    View(const View &) = delete;
    View &operator=(const View &) = delete;

    virtual void event(const Event &event) = 0;
    virtual void figures(const Figures &figures) = 0; // the newest; may be the same as before
    virtual void retry(const Retry &retry) = 0;
    virtual void end(const Ending &ending) = 0; // nothing is shown after it

    // For views that own a terminal: its window has another size, or the process stops and goes on.
    virtual void resized() {}
    virtual void suspend() {}
    virtual void resume() {}
};

class Output;
struct Options;
// What fits the options and the stream: a terminal is drawn upon when it can be.
std::unique_ptr<View> makeView(const Options &options, Output &out);
