#include "View.h"

#include "JsonView.h"
#include "Options.h"
#include "PlainView.h"
#include "TerminalView.h"

std::unique_ptr<View> makeView(const Options &options, Output &out) {
    if (options.json)
        return std::make_unique<JsonView>(out);
    std::unique_ptr<Terminal> terminal = options.plain ? nullptr : Terminal::open(out);
    if (terminal)
        return std::make_unique<TerminalView>(std::move(terminal));
    return std::make_unique<PlainView>(out);
}
