// The installed recordings: each is what such an installation gives.
#include <algorithm>
#include <sstream>

#include <gtest/gtest.h>

#include "Engine.h"
#include "Recording.h"
#include "Scenarios.h"
#include "TextFile.h"

namespace {

// How a call ended, without what differs from run to run.
struct CallsEnd {
    Function function;
    bool returned;
    int result;
    std::vector<bool> flags;
    double totalKb; // -1 where a package that was given up has frozen the figures at any moment's
    std::vector<std::string> packages;                       // sorted
    std::vector<std::pair<std::string, std::string>> hashes; // likewise
};

bool operator==(const CallsEnd &one, const CallsEnd &other) {
    return one.function == other.function && one.returned == other.returned && one.result == other.result &&
           one.flags == other.flags && one.totalKb == other.totalKb && one.packages == other.packages &&
           one.hashes == other.hashes;
}

void PrintTo(const CallsEnd &end, std::ostream *out) {
    *out << "result " << end.result << ", flags " << testing::PrintToString(end.flags) << ", of "
         << end.totalKb << " KB, packages " << testing::PrintToString(end.packages) << ", hashes "
         << testing::PrintToString(end.hashes);
}

template <typename List>
List sorted(List list) {
    std::sort(list.begin(), list.end());
    return list;
}

template <typename List>
List firstOf(const List &list, std::size_t count) {
    return {list.begin(), list.begin() + static_cast<std::ptrdiff_t>(count)};
}

std::vector<CallsEnd> endsOf(const std::string &text) {
    std::istringstream lines(text);
    std::vector<CallsEnd> ends;
    const Recording recording = readRecording(lines);
    for (const Call &call : recording.calls) {
        const Answers &last = call.moments.back().answers;
        const DownloadProgressInfo &info = last.progress.value();
        ends.push_back({call.function,
                        call.returned.has_value(),
                        call.result,
                        {info.failed, info.completed, info.resumable},
                        info.resumable ? info.totalSize : -1,
                        sorted(splitPackages(last.packages->value())),
                        sorted(firstOf(recording.hashes, last.hashes))});
    }
    return ends;
}

class InstalledRecording : public testing::TestWithParam<Scenario> {};

TEST_P(InstalledRecording, IsWhatSuchAnInstallationGives) {
    const std::string installed =
        readText("/usr/local/Brovik/qrn/share/downloadManager/recordings/" + GetParam().name + ".jsonl");
    EXPECT_EQ(endsOf(installed), endsOf(record(GetParam(), false)));
}

INSTANTIATE_TEST_SUITE_P(Recordings, InstalledRecording, testing::ValuesIn(scenarios()),
                         [](const auto &parameter) {
                             std::string name = parameter.param.name;
                             name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
                             return name;
                         });

} // namespace
