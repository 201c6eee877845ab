#include "Explain.h"

#include <nlohmann/json.hpp>

#include "LibXmlWrapper.h"
#include "OwnStreams.h"
#include "Paper.h"
#include "ReleaseFile.h"
#include "ReleaseOffer.h"
#include "Statuses.h"
#include "UnusableInput.h"

namespace {

void fillFromConfiguration(Question &question, Job job) {
    const OwnStreams quiet; // the engine tells what it cannot parse
    const LibXmlWrapper configuration(question.config.string());
    const auto refuse = [&question](const std::string &why) {
        throw UnusableInput(question.config.string() + ": " + why);
    };
    if (!configuration.isXPathElementExists("/ProductConfiguration"))
        refuse("no product configuration");
    const auto fill = [&](std::string &value, const char *element) {
        if (value.empty())
            value = configuration.getXPathStringValue(std::string("/ProductConfiguration/") + element);
    };
    fill(question.product, "ProductVersion");
    fill(question.application, "AppID");
    fill(question.affiliate, "AffID");
    if (job == Job::update && question.product.empty())
        refuse("tells no ProductVersion, expected --product");
    if (question.application.empty())
        refuse("tells no AppID, so the machine asks its subscription; expected --app");
}

} // namespace

Explanation explain(const Question &question, Job job) {
    const Release release = readRelease(question.folder);
    Question complete = question;
    if (!complete.config.empty())
        fillFromConfiguration(complete, job);
    const Asker first = firstAsker(release);
    Explanation explanation{job,
                            {complete.product, complete.system},
                            {complete.affiliate.empty() ? first.affiliate : complete.affiliate,
                             complete.application.empty() ? first.application : complete.application},
                            {},
                            {}};
    if (job == Job::update && (complete.product.empty() || complete.system.empty()))
        throw UnusableInput("releasebench: an update needs --system, and --product or --config");
    explanation.offer = offerTo(explanation.asker, release, job);
    explanation.plan = job == Job::update
                           ? planUpdate(explanation.offer, explanation.machine, orderNamesOf(release))
                           : planFreshInstall(explanation.offer);
    return explanation;
}

int runExplain(const ExplainOptions &options) {
    const Explanation explanation =
        explain(options.question, options.fresh ? Job::freshInstall : Job::update);
    Paper paper;
    if (options.format == Format::json)
        // Names may hold any bytes; those that are no UTF-8 are replaced.
        paper.verbatim(
            explanationInJson(explanation).dump(2, ' ', false, nlohmann::json::error_handler_t::replace) +
            "\n");
    else
        tellExplanation(explanation, paper);
    paper.finish();
    return Statuses::done;
}
