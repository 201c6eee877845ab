#include "JsonView.h"

#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

void JsonView::event(const Event &event) {
    switch (event.kind) {
    case Event::Kind::phaseBegan:
        return line({{"event", "phase"}, {"phase", event.text}});
    case Event::Kind::packageFinished:
        return line({{"event", "finished"}, {"path", event.text}});
    case Event::Kind::packageFetchedAgain:
        return line({{"event", "fetched-again"}});
    case Event::Kind::packageFailed:
        return line({{"event", "failed"}});
    case Event::Kind::packageGivenUp:
        return line({{"event", "given-up"}});
    case Event::Kind::standsStill:
        return line({{"event", "waiting"}, {"for", event.text}});
    }
}

void JsonView::figures(const Figures &figures) {
    const bool changed = figures.percent != m_shown.percent || figures.presentKb != m_shown.presentKb ||
                         figures.totalKb != m_shown.totalKb;
    if (!changed)
        return;
    m_shown = figures;
    line({{"event", "progress"},
          {"percent", figures.percent},
          {"presentKb", figures.presentKb},
          {"totalKb", figures.totalKb},
          {"kbPerSecond", figures.kbPerSecond},
          {"secondsLeft", figures.left ? Json(figures.left->count()) : Json(nullptr)}});
}

void JsonView::retry(const Retry &retry) {
    line({{"event", "retry"},
          {"attempt", retry.attempt},
          {"of", retry.of},
          {"inSeconds", retry.pause.count()}});
}

void JsonView::end(const Ending &ending) {
    Json packages = Json::array();
    for (const Package &package : ending.remains.finished)
        packages.push_back({{"path", package.path}, {"sha1", package.sha1}});
    line({{"event", "end"},
          {"outcome", ending.name},
          {"status", ending.status},
          {"message", ending.lines},
          {"packages", packages},
          {"unfinished", ending.remains.unfinished},
          {"diskFull", ending.remains.diskFull}});
}

void JsonView::line(const Json &object) {
    // Paths may hold any bytes; those that are no UTF-8 are replaced.
    m_out.write(object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
}
