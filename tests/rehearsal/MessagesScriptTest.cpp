// The check that compares the catalogue of messages with what the sources can write.
#include "Shell.h"

#include <gtest/gtest.h>

namespace {

// A change to a copy of the project, and what is told of it.
struct Change {
    const char *name;
    const char *change; // by a shell, in the copy
    const char *told;
};

void PrintTo(const Change &shown, std::ostream *stream) {
    *stream << shown.name;
}

Outcome checkedAfter(const std::string &change) {
    return outside(R"sh(
        project=$rehearsal/.. copy=$(mktemp -d) && cd "$copy" || exit
        for folder in src sdk docs share scripts tools/messages tests/faults; do
            mkdir -p "$(dirname "$folder")" && cp -r "$project/$folder" "$folder" || exit
        done
    )sh" + change +
                   R"sh(
        "$project/scripts/check-messages" "$copy" 2>&1
        status=$?
        rm -r "$copy"
        exit "$status"
    )sh");
}

class MessagesScript : public testing::TestWithParam<Change> {
protected:
    void SetUp() override {
        if (outside("python3 -c 'import jsonschema'").status != 0)
            GTEST_SKIP() << "python3-jsonschema is missing";
    }
};

TEST_P(MessagesScript, refuses) {
    const Outcome outcome = checkedAfter(GetParam().change);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.output.find(GetParam().told), std::string::npos) << outcome.output;
}

INSTANTIATE_TEST_SUITE_P(
    Check, MessagesScript,
    testing::Values(
        Change{"AMessageThatIsTakenAway", R"(sed -i '/trace.error("No updates Found/d' src/mac/src/*.cpp)",
               "no-updates: nothing in the sources writes this to trace: \"No updates Found\\n\""},
        Change{
            "AMessageThatIsNew",
            R"(sed -i 's/^    m_engine.stop();/    trace.info("INFO: %d workers\\n", 1);\n&/' src/mac/src/DownloadController.cpp)",
            "\"INFO: %d workers\\n\": no entry of share/messages.json has this text for trace"},
        Change{"AMessageWithAnotherText",
               R"(sed -i 's/No updates Found/No updates found/' src/mac/src/DownloadController.cpp)",
               "\"No updates found\\n\": no entry of share/messages.json has this text for trace"},
        Change{
            "AMessageOverTwoLiterals",
            R"(sed -i 's/trace.error("No updates Found.n")/trace.error("No updates "\n "found\\n")/' src/mac/src/DownloadController.cpp)",
            "\"No updates found\\n\": no entry of share/messages.json has this text for trace"},
        Change{
            "AMessageWithoutItsEntry",
            R"(python3 -c 'import json; f = "share/messages.json"; d = json.load(open(f)); d["messages"] = [m for m in d["messages"] if m["id"] != "no-process-for-script"]; json.dump(d, open(f, "w"))')",
            "\"Fork Failed\\n\": no entry of share/messages.json has this text for trace"},
        Change{
            "AnotherLevelInTheSources",
            R"(sed -i 's/trace.error("No updates Found/trace.info("No updates Found/' src/mac/src/DownloadController.cpp)",
            "\"No updates Found\\n\": written at level 5, and no-updates says 2"},
        Change{"AnotherLevelInTheEntry",
               R"(sed -i '/"id": "no-updates"/,/"level"/s/"level": 2/"level": 4/' share/messages.json)",
               "\"No updates Found\\n\": written at level 2, and no-updates says 4"},
        Change{"AnotherStream",
               R"(sed -i 's/printError("No result/printOutput("No result/' src/mac/src/LibXmlWrapper.cpp)",
               "\"No result\\n\": no entry of share/messages.json has this text for standard output"},
        Change{
            "ATextThatIsComposed",
            R"(sed -i 's/trace.error("No updates Found.n")/trace.error(text)/' src/mac/src/DownloadController.cpp)",
            "a message text stands whole at its call site, and this is none: text"},
        Change{
            "ALinePastTheTrace",
            R"(sed -i 's/^    m_engine.stop();/    std::puts("stopped");\n&/' src/mac/src/DownloadController.cpp)",
            "puts writes past the trace"},
        Change{
            "ALineByADescriptor",
            R"(sed -i 's/^    m_engine.stop();/    dprintf(STDERR_FILENO, "stopped");\n&/' src/mac/src/DownloadController.cpp)",
            "dprintf writes past the trace"},
        Change{
            "ATraceOfItsOwn",
            R"(sed -i 's/^    m_engine.stop();/    Trace(m_level).info("stopped");\n&/' src/mac/src/DownloadController.cpp)",
            "Trace writes past the trace"},
        Change{"ALineOfTheScript",
               R"(sed -i 's/Restarted QRN/Restarted the service/' src/mac/src/InstallerScript.cpp)",
               "\"Restarted the service\\n\": no entry of share/messages.json has this text for trace"},
        Change{"AToolThatIsNew",
               R"(sed -i 's/"sudo touch "/"sudo chmod "/' src/mac/src/DownloadController.cpp)",
               "touch: has entries, and nothing in the sources starts it"},
        Change{"ARowThatIsNotThere",
               R"(sed -i 's/`LockFault.IsADirectory`/`LockFault.IsAFolder`/' docs/faults.md)",
               "lock-failed: docs/faults.md has no row for LockFault.IsADirectory"},
        Change{"ALimitThatIsNotThere", R"(sed -i '/^| A reply of status 1/d' docs/limits.md)",
               "no-update: docs/limits.md has no row that begins: A reply of status 1"},
        Change{
            "AQuotedLineThatNothingWrites",
            R"(sed -i 's/"ERROR: Not able to write the package list"/"ERROR: No package list"/' docs/faults.md)",
            "docs/faults.md: quotes a line that nothing writes: ERROR: No package list"},
        Change{"AnEntryOfAnotherForm",
               R"(sed -i 's/"remedy": "Wait\./"advice": "Wait./' share/messages.json)",
               "waiting-for-job: 'remedy' is a required property"},
        Change{"APageThatIsStale", R"(echo >>docs/messages.md)",
               "docs/messages.md: is not what scripts/write-messages writes"}),
    [](const auto &one) { return one.param.name; });

TEST_F(MessagesScript, tellsAllThatIsWrongWithEntries) {
    const Outcome outcome = checkedAfter(R"sh(python3 - <<'EOF'
import json
def change(file, by):
    document = json.load(open(file))
    by(document)
    json.dump(document, open(file, "w"))
def entries(document):
    by_id = {entry["id"]: entry for entry in document["messages"]}
    by_id["no-updates"]["id"] = "no-update"
    by_id["updater-called"]["text"] = by_id["updater-called"]["text"].replace("{affiliate", "{version")
    by_id["http-code"]["text"] = by_id["http-code"]["text"].replace(":number", ":figure")
    by_id["cancelled"]["text"] = "Cancel {Downloading\n"
    by_id["retry-started"]["step"] = "lunch"
    by_id["script-installing"]["level"] = 5
    by_id["rm-complains"].pop("tool")
    by_id["list-empty"]["causes"] = []
    by_id["lock-failed"]["cases"][0]["with"] = {"cause": "Is a directory"}
    by_id["terminated"]["followed"][0]["by"] = "ended"
    by_id["list-not-written"]["faults"].append("LockFault.NoInodes")
def reported(scenarios):
    scenarios["NoFault.AtAll"] = {"": ["no-reply"]}
    scenarios["LockFault.NoInodes"]["Unknown"] = ["lock-lost"]
    del scenarios["Log.GrowsFromRunToRun"]
    del scenarios["TransferEnd.ShowsInFlagsAndTrace"]
change("share/messages.json", entries)
change("tests/faults/reported.json", reported)
EOF)sh");
    EXPECT_EQ(outcome.status, 1);
    for (const char *told :
         {"no-update: stands twice", "updater-called: two parts have one name",
          "http-code: there is no kind figure", "cancelled: a part that varies is {name:kind}",
          "retry-started: there is no step lunch",
          "script-installing: the engine's messages in the trace have a level, and no others",
          "rm-complains: messages of tools name their tool, and no others",
          "list-empty: what is not normal has a cause",
          "lock-failed: a case asks for cause, which its text does not have",
          "terminated: is followed by ended, which is no entry",
          "list-not-written: rests on LockFault.NoInodes, whose scenario does not report it",
          "reported.json: docs/faults.md has no row for NoFault.AtAll",
          "reported.json: LockFault.NoInodes reports lock-lost, which is no entry",
          "arguments-missing: no scenario of tests/faults/reported.json reports it",
          "transfer-failed curl=0: no scenario of tests/faults/reported.json reports it"})
        EXPECT_NE(outcome.output.find(told), std::string::npos) << told << "\n" << outcome.output;
}

TEST(MessagesScriptOfThisProject, findsNothing) {
    if (outside("python3 -c 'import jsonschema'").status != 0)
        GTEST_SKIP() << "python3-jsonschema is missing";
    const Outcome outcome = outside(R"sh("$rehearsal/../scripts/check-messages")sh");
    EXPECT_EQ(outcome.status, 0) << outcome.output;
}

} // namespace
