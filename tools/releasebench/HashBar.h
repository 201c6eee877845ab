#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "Bar.h"
#include "Digests.h"
#include "Interrupts.h"
#include "Output.h"
#include "Terminal.h"

// A bar on standard error, where that is a terminal, for what takes a while. It is gone in the end,
// also when the process is interrupted. The terminal is not taken for it, so that Ctrl-Z leaves nothing to be
// restored.
class HashBar {
public:
    // The words say what takes a while.
    explicit HashBar(std::string words = "hashing");
    ~HashBar() { clear(); }
    HashBar(const HashBar &) = delete;
    HashBar &operator=(const HashBar &) = delete;

    void show(const HashProgress &progress);

private:
    void clear();

    const std::string m_words;
    Output m_output;
    std::unique_ptr<Terminal> m_terminal; // null where there is none
    std::mutex m_mutex;                   // held while the terminal is written to
    bool m_isDrawn = false;
    CleanUp m_cleanUp;
};

// Never wider than that many columns.
std::string hashBarLine(const std::string &words, const HashProgress &progress, int columns,
                        const Glyphs &glyphs);
