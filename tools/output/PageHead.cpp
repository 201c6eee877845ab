#include "PageHead.h"

#include "XmlOut.h"

namespace {

constexpr const char *sharedStyle = R"(
:root { color-scheme: light dark; --ground: #ffffff; --ink: #1b1f24; --line: #b6bcc4; --fine: #14692f;
  --bad: #b3261e; --fine-ground: #e5f4e9; --bad-ground: #fde9e7; }
@media (prefers-color-scheme: dark) { :root { --ground: #15181c; --ink: #e6e8eb; --line: #5a626c;
  --fine: #7bd493; --bad: #ff9e96; --fine-ground: #17301f; --bad-ground: #421c19; } }
body { background: var(--ground); color: var(--ink); font: 16px/1.5 sans-serif; margin: 2rem; }
table { border-collapse: collapse; }
a { color: inherit; }
:focus-visible { outline: 3px solid currentColor; outline-offset: 2px; }
)";

// What a browser is to refuse, whatever the page holds.
std::string policyOf(const PageHead &head) {
    const std::string policy =
        "default-src 'none'; base-uri 'none'; form-action 'none'; style-src 'unsafe-inline'";
    return head.script.empty() ? policy : policy + "; script-src 'unsafe-inline'";
}

} // namespace

void writePageHead(const PageHead &head, XmlOut &out) {
    out.open("head");
    out.empty("meta", {{"charset", "utf-8"}});
    out.empty("meta", {{"http-equiv", "Content-Security-Policy"}, {"content", policyOf(head)}});
    out.empty("meta", {{"name", "viewport"}, {"content", "width=device-width, initial-scale=1"}});
    out.leaf("title", head.title);
    out.leaf("style", sharedStyle + head.style);
    // Runs once the page is there, wherever it stands.
    out.optionalLeaf("script", head.script);
    out.close();
}
