// One JSON object a line, for programs. Every object has "event"; the man page lists the rest.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "Output.h"
#include "View.h"

class JsonView : public View {
public:
    explicit JsonView(Output &out)
        : m_out(out) {}

    void event(const Event &event) override;
    void figures(const Figures &figures) override; // a line for every change
    void retry(const Retry &retry) override;
    void end(const Ending &ending) override;

private:
    void line(const nlohmann::ordered_json &object);

    Output &m_out;
    Figures m_shown;
};
