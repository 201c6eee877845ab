// The schema of what is told as JSON, as it is installed.
#include <algorithm>
#include <iterator>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Lines.h"
#include "Program.h"
#include "Stories.h"
#include "TextFile.h"

namespace {

using Json = nlohmann::json;
using testing::HasSubstr;

const std::string schema = "/usr/local/Brovik/qrn/share/downloadManager/updatelog.schema.json";

bool canValidate() {
    static const bool can = run({"python3", "-c", "import jsonschema"}).status == 0;
    return can;
}

// What the schema has against these objects, a line for each fault: "3 kind: ..." is one of the third.
std::string refusals(const std::vector<std::string> &objects) {
    std::string lines;
    for (const std::string &object : objects)
        lines += object + "\n";
    writeText("/tmp/objects.jsonl", lines);
    const Ended ended = run({"python3", "-c", R"(
import json, sys, jsonschema
schema = json.load(open(sys.argv[1], encoding='utf-8'))
jsonschema.Draft7Validator.check_schema(schema)
validator = jsonschema.Draft7Validator(schema)
for number, line in enumerate(open(sys.argv[2], encoding='utf-8'), 1):
    for error in validator.iter_errors(json.loads(line)):
        print(number, '/'.join(map(str, error.absolute_path)) + ':', error.message[:300])
)",
                             schema, "/tmp/objects.jsonl"});
    return ended.status == 0 ? ended.out : ended.err;
}

std::vector<std::string> toldOf(const std::vector<std::string> &logs) {
    std::vector<std::string> objects;
    for (const std::string &log : logs) {
        const std::vector<RunStory> stories = storiesOf(log);
        std::transform(stories.begin(), stories.end(), std::back_inserter(objects), jsonOf);
    }
    return objects;
}

// After all cases, whatever logs they have told.
class MadeStories : public testing::Environment {
    void TearDown() override {
        if (canValidate()) {
            EXPECT_EQ(refusals({madeStories().begin(), madeStories().end()}), "");
        }
    }
};
const testing::Environment *const atTheEnd = testing::AddGlobalTestEnvironment(new MadeStories); // gtest's

const std::string download = checkStarts(0) + asks(0) + isAnswered(1) + namesCatalog(1) +
                             at(2, "INFO : Start download: " + packageUrl);

// One at least for every word that the schema knows.
const std::vector<std::string> logs = {
    "from another program\n\xff\xfe\n",
    idleCheck(),
    deafCheck(),
    checkStarts(0) + asks(0) + isAnswered(1),
    checkStarts(0) + asks(0) + isAnswered(1) + at(1, "ERROR : TolvaneHandler - Update Response Failed") +
        exits(1),
    download,
    download + at(3, "Successfully downloaded: " + packageUrl) + exits(3),
    download + at(3, "ERROR : Download Failed with CURL error code CURLE_PARTIAL_FILE for " + packageUrl) +
        at(3, "Resume Download: " + packageUrl),
    download + at(3, "ERROR: Exit maximum no of Checking HashSUM : " + packagePath),
    at(0, "INFO: Enter FreshInstall") + at(0, "INFO: Enter sendTolvaneFreshInstallRequest"),
    installationStarts() + " Installing /One.pkg\n",
    checkStarts(0) + at(0, "INFO: Installation /DynamicBranding.pkg Succeded "),
    installationStarts() + " Installing /One.pkg\nInstalled /One.pkg successfully\n Installing /Two.pkg\n" +
        "Failed to install /Two.pkg\n"};

// The words that are allowed at a place, and those that stand there.
std::vector<std::string> allowed(const Json &known) {
    return known.at("enum").get<std::vector<std::string>>();
}
std::set<std::string> found(const std::vector<std::string> &objects, const std::string &list,
                            const std::string &name) {
    std::set<std::string> words;
    for (const std::string &text : objects) {
        const Json object = Json::parse(text);
        for (const Json &each : list.empty() ? Json::array({object}) : object.at(list))
            words.insert(each.at(name).get<std::string>());
    }
    return words;
}

TEST(UpdateLogSchema, TakesEveryWordThatIsTold) {
    if (!canValidate())
        GTEST_SKIP() << "python3-jsonschema is missing";
    const std::vector<std::string> objects = toldOf(logs);
    EXPECT_EQ(refusals(objects), "");
    const Json known = Json::parse(readText(schema)).at("properties");
    for (const std::string name : {"kind", "end", "answer"})
        EXPECT_THAT(found(objects, "", name), testing::UnorderedElementsAreArray(allowed(known.at(name))));
    for (const std::string list : {"transfers", "installations"})
        EXPECT_THAT(found(objects, list, "state"),
                    testing::UnorderedElementsAreArray(
                        allowed(known.at(list).at("items").at("properties").at("state"))));
}

TEST(UpdateLogSchema, RefusesWhatIsNeverTold) {
    if (!canValidate())
        GTEST_SKIP() << "python3-jsonschema is missing";
    const Json whole = Json::parse(jsonOf(storyOf(logs[7])));
    std::vector<std::string> objects;
    for (const auto &[name, value] : whole.items()) {
        Json object = whole;
        object.erase(name);
        objects.push_back(object.dump());
        object[name] = value.is_string() ? Json(1) : Json("other");
        objects.push_back(object.dump());
    }
    for (const std::string list : {"transfers", "findings"}) {
        for (const auto &[name, value] : whole.at(list).at(0).items()) {
            Json object = whole;
            object[list][0].erase(name);
            objects.push_back(object.dump());
        }
    }
    for (const Json &more : {Json{{"more", 1}}, Json{{"began", "today"}}, Json{{"run", 0}},
                             Json{{"left", -1}}, Json{{"kind", "update"}}, Json{{"answer", "none"}}}) {
        Json object = whole;
        object.update(more);
        objects.push_back(object.dump());
    }
    const std::string told = "\n" + refusals(objects);
    for (std::size_t i = 0; i < objects.size(); ++i)
        EXPECT_THAT(told, HasSubstr("\n" + std::to_string(i + 1) + " ")) << objects[i];
}

} // namespace
