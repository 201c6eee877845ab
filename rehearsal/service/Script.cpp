#include "Script.h"

#include "Text.h"

#include <map>
#include <sstream>
#include <stdexcept>

namespace {

enum class Argument { none, number, optionalNumber, numberAndText, text, file };

const std::map<std::string, Argument> &actions() {
    static const std::map<std::string, Argument> known = {
        {"ok", Argument::none},
        {"wrong", Argument::optionalNumber},
        {"cut", Argument::number},
        {"reset", Argument::number},
        {"stall", Argument::number},
        {"slow", Argument::number},
        {"status", Argument::numberAndText},
        {"redirect", Argument::text},
        {"moved", Argument::numberAndText},
        {"as", Argument::text},
        {"raw", Argument::file},
        {"chunked", Argument::none},
        {"no-length", Argument::none},
        {"no-ranges", Argument::none},
        {"silent", Argument::none},
        {"drop", Argument::none},
    };
    return known;
}

struct Rule {
    std::string path;
    std::string attempt;
    Action action;
};

// "FILE [stall | reset | repeat FILE]"
void readRaw(std::istringstream &words, const std::string &line, Action &action) {
    std::string more;
    words >> action.text >> action.ending >> action.repeated >> more;
    const bool isKnown = action.ending.empty() || action.ending == "stall" || action.ending == "reset" ||
                         action.ending == "repeat";
    if (action.text.empty() || !isKnown || !more.empty() ||
        (action.ending == "repeat") == action.repeated.empty()) {
        throw std::invalid_argument("wrong arguments: " + line);
    }
}

Rule ruleOf(const std::string &line) {
    Rule rule;
    std::istringstream words(line);
    words >> rule.path >> rule.attempt >> rule.action.name;
    const auto known = actions().find(rule.action.name);
    if (!words || known == actions().end() || (rule.attempt != "*" && !wholeNumber(rule.attempt))) {
        throw std::invalid_argument("not a rule: " + line);
    }
    const Argument argument = known->second;
    if (argument == Argument::file) {
        readRaw(words, line, rule.action);
        return rule;
    }
    std::string number;
    if (argument == Argument::number || argument == Argument::optionalNumber ||
        argument == Argument::numberAndText) {
        words >> number;
        const auto value = wholeNumber(number);
        if (!value && (argument != Argument::optionalNumber || !number.empty())) {
            throw std::invalid_argument("a number is missing: " + line);
        }
        rule.action.number = value.value_or(0);
    }
    std::getline(words >> std::ws, rule.action.text);
    const bool takesText = argument == Argument::text || argument == Argument::numberAndText;
    if ((argument == Argument::text && rule.action.text.empty()) ||
        (!takesText && !rule.action.text.empty())) {
        throw std::invalid_argument("wrong arguments: " + line);
    }
    return rule;
}

} // namespace

Action actionFor(const std::string &script, const std::string &method, const std::string &target,
                 unsigned attempt) {
    const std::string path = method == "HEAD" ? "HEAD:" + target : target;
    const std::string any = method == "HEAD" ? "HEAD:*" : "*";
    Action chosen;
    bool found = false;
    std::istringstream lines(script);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const Rule rule = ruleOf(line);
        const bool meant = (rule.path == path || rule.path == any) &&
                           (rule.attempt == "*" || rule.attempt == std::to_string(attempt));
        if (meant && !found) {
            chosen = rule.action;
            found = true;
        }
    }
    return chosen;
}
