#pragma once

#include <cstddef>
#include <string>

#include "Paper.h"

// "WHAT is THIS instead of THAT", for what is not as it should.
inline std::string differing(const std::string &what, const std::string &is, const std::string &expected) {
    std::string text = what;
    return text.append(" is ").append(is).append(" instead of ").append(expected);
}

// A rehearsal as it is told, and how often something was not as it should.
class Story {
public:
    explicit Story(Paper &paper)
        : m_paper(paper) {}

    void say(const std::string &text) { m_paper.line(text, hanging); }
    // A new part of it.
    void step(const std::string &text) {
        m_paper.line("");
        m_paper.line(text);
    }
    void expect(bool isSo, const std::string &otherwise) {
        if (isSo)
            return;
        ++m_problems;
        m_paper.line("  PROBLEM: " + otherwise, hanging, Colour::red);
    }
    std::size_t problems() const { return m_problems; }

    // Before somebody else writes to the same stream.
    void finish() { m_paper.finish(); }

private:
    static constexpr std::size_t hanging = 6;

    Paper &m_paper;
    std::size_t m_problems = 0;
};
