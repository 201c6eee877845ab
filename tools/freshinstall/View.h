// Where an installation is shown: in a terminal, as plain lines, or as JSON lines.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "Progress.h"

struct Package {
    std::string path;
    std::string sha1; // the catalog's, which the file's was found to be
};

struct Retry {
    unsigned attempt; // from 1
    unsigned of;
    std::chrono::seconds pause; // before it begins
};

// How all ended, in a form that people and programs can use.
struct Ending {
    std::string name; // "done", "failed-before-downloads", "downloads-failed", "error", "interrupted"
    int status = 0;   // the process's
    std::vector<std::string> lines;
    std::vector<Package> packages; // finished ones
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
