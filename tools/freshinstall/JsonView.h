// One JSON object a line, for programs. Every object has "event"; the man page lists the rest.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "View.h"

class JsonView : public View {
public:
    explicit JsonView(std::FILE *out)
        : m_out(out) {}

    void event(const Event &event) override;
    void figures(const Figures &figures) override; // a line for every change
    void retry(unsigned attempt, unsigned attempts) override;
    void end(const Ending &ending) override;

private:
    void line(const nlohmann::ordered_json &object);

    std::FILE *m_out;
    Figures m_shown;
};
