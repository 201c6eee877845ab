// What the host program makes of the engine's answers, and how it writes it.
#include "Progress.h"

#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Engine.h"
#include "Readable.h"
#include "TerminalView.h"
#include "Words.h"

inline void PrintTo(const Event &event, std::ostream *out) {
    *out << "event " << static_cast<int>(event.kind) << ": " << event.text;
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Kind = Event::Kind;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr double unknownTime = std::numeric_limits<std::int32_t>::min();

DownloadProgressInfo figures(double percent, double present, double total) {
    return {percent, 100, unknownTime, present, total, false, false, true};
}

DownloadProgressInfo flags(DownloadProgressInfo info, bool failed, bool completed, bool resumable) {
    info.failed = failed;
    info.completed = completed;
    info.resumable = resumable;
    return info;
}

const DownloadProgressInfo nothing = figures(0, 0, 0);

// A model that is given one answer after the other, half a second apart.
class Watch {
public:
    std::vector<Event> take(const DownloadProgressInfo &info, const std::vector<std::string> &packages = {},
                            milliseconds later = milliseconds(500)) {
        m_time += later;
        return m_progress.take({info, packages, m_time});
    }
    std::vector<Event> end(const DownloadProgressInfo &info, Outcome outcome) {
        m_time += milliseconds(500);
        return m_progress.end({info, {}, m_time}, outcome);
    }
    void goOn(milliseconds later) {
        m_time += later;
        m_progress.goOn(m_time);
    }
    void beginAnew() { m_progress.beginAnew(m_time); }
    const Figures &shown() const { return m_progress.figures(); }

private:
    milliseconds m_time{1000000};
    Progress m_progress;
};

// --- phases

TEST(ProgressModel, PreparesUntilTheFirstPackageBegins) {
    Watch watch;
    EXPECT_THAT(watch.take(nothing), ElementsAre(Event{Kind::phaseBegan, "preparing"}));
    EXPECT_THAT(watch.take(nothing), IsEmpty());
    EXPECT_THAT(watch.take(figures(1, 1, 100)), ElementsAre(Event{Kind::phaseBegan, "downloading"}));
}

TEST(ProgressModel, ChecksWhenEveryByteIsThereAndIsDoneAtTheEnd) {
    Watch watch;
    static_cast<void>(watch.take(figures(50, 50, 100)));
    EXPECT_THAT(watch.take(figures(100, 100, 100)), ElementsAre(Event{Kind::phaseBegan, "checking"}));
    EXPECT_THAT(watch.end(flags(figures(100, 100, 100), false, true, true), Outcome::done),
                ElementsAre(Event{Kind::phaseBegan, "done"}));
    EXPECT_EQ(watch.shown().percent, 100);
}

TEST(ProgressModel, GoesBackToDownloadingWhenACheckLeadsToAnotherFetch) {
    Watch watch;
    static_cast<void>(watch.take(figures(100, 100, 100)));
    EXPECT_THAT(watch.take(figures(10, 10, 100)),
                ElementsAre(Event{Kind::phaseBegan, "downloading"}, Event{Kind::packageFetchedAgain, ""}));
}

TEST(ProgressModel, IsNotDoneWhenItFailed) {
    Watch watch;
    static_cast<void>(watch.take(figures(50, 50, 100)));
    static_cast<void>(watch.end(flags(figures(50, 50, 100), true, false, true), Outcome::downloadsFailed));
    EXPECT_EQ(watch.shown().phase, Phase::downloading);
    EXPECT_EQ(watch.shown().percent, 50);
}

TEST(ProgressModel, ShowsEverythingWhenDoneThoughAServerToldNoLength) {
    Watch watch;
    static_cast<void>(watch.take(figures(40, 80, 100)));
    static_cast<void>(watch.end(flags(figures(40, 80, 100), false, true, true), Outcome::done));
    EXPECT_EQ(watch.shown().percent, 100);
    EXPECT_EQ(watch.shown().presentKb, 100);
}

// The page that a server sends with its error counts as bytes.
TEST(ProgressModel, NeverChecksNorIsWholeWhenAPackageFailed) {
    Watch watch;
    static_cast<void>(watch.take(flags(figures(100, 100, 100), true, false, true)));
    EXPECT_EQ(watch.shown().phase, Phase::downloading);
    EXPECT_LT(watch.shown().percent, 100);
    static_cast<void>(watch.end(flags(figures(100, 100, 100), true, false, true), Outcome::downloadsFailed));
    EXPECT_EQ(watch.shown().phase, Phase::downloading);
    EXPECT_LT(watch.shown().percent, 100);
}

// --- per cent and sizes

struct Percent {
    const char *name;
    DownloadProgressInfo info;
    int percent;
};

class ProgressPercent : public testing::TestWithParam<Percent> {};

TEST_P(ProgressPercent, IsShownAs) {
    Watch watch;
    static_cast<void>(watch.take(GetParam().info));
    EXPECT_EQ(watch.shown().percent, GetParam().percent);
}

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();

INSTANTIATE_TEST_SUITE_P(Progress, ProgressPercent,
                         testing::Values(Percent{"Nothing", nothing, 0}, //
                                         Percent{"OfBytes", figures(50, 50, 100), 50},
                                         Percent{"RoundedDown", figures(99.99, 9999, 10000), 99},
                                         Percent{"EveryByteButUnchecked", figures(100, 100, 100), 99},
                                         Percent{"SmallPackagesFirst", figures(80, 20, 100), 20},
                                         // The others' lengths are not known yet.
                                         Percent{"OnePackageOfMany", figures(25, 100, 100), 25},
                                         Percent{"MoreThanWhole", figures(140, 140, 100), 99},
                                         Percent{"Negative", figures(-5, -5, 100), 0},
                                         Percent{"NoNumber", figures(notANumber, notANumber, notANumber), 0},
                                         Percent{"Infinite", figures(infinite, infinite, infinite), 0}),
                         [](const auto &parameter) { return std::string(parameter.param.name); });

TEST(ProgressModel, NeverRunsBackwards) {
    Watch watch;
    static_cast<void>(watch.take(figures(60, 60, 100)));
    // A further package begins; then one is fetched again.
    static_cast<void>(watch.take(figures(30, 60, 200)));
    EXPECT_EQ(watch.shown().percent, 60);
    EXPECT_EQ(watch.shown().totalKb, 200);
    EXPECT_THAT(watch.take(figures(10, 20, 200)), ElementsAre(Event{Kind::packageFetchedAgain, ""}));
    EXPECT_EQ(watch.shown().percent, 60);
    EXPECT_EQ(watch.shown().presentKb, 60);
    EXPECT_THAT(watch.take(figures(10, 20, 100)), IsEmpty());
    EXPECT_EQ(watch.shown().totalKb, 200);
    static_cast<void>(watch.take(figures(65, 130, 200)));
    EXPECT_EQ(watch.shown().percent, 65);
    EXPECT_EQ(watch.shown().presentKb, 130);
}

// The engine's figures are those of the try before until the first transfer goes on.
TEST(ProgressModel, BeginsAnewAtARetry) {
    Watch watch;
    static_cast<void>(watch.take(flags(figures(90, 90, 100), true, false, true)));
    static_cast<void>(watch.end(flags(figures(90, 90, 100), true, false, true), Outcome::downloadsFailed));
    watch.beginAnew();
    EXPECT_THAT(watch.take(flags(figures(90, 90, 100), true, false, true)), IsEmpty());
    EXPECT_EQ(watch.shown().percent, 0);
    EXPECT_THAT(watch.take(figures(10, 100, 1000)), IsEmpty());
    EXPECT_EQ(watch.shown().phase, Phase::downloading);
    EXPECT_EQ(watch.shown().percent, 10);
    EXPECT_EQ(watch.shown().presentKb, 100);
}

TEST(ProgressModel, NeverShowsMoreThanThereIs) {
    Watch watch;
    static_cast<void>(watch.take(figures(100, 150, 100)));
    EXPECT_EQ(watch.shown().presentKb, 100);
}

// --- speed and time left

TEST(ProgressModel, MeasuresSpeedOverAllPackages) {
    Watch watch;
    static_cast<void>(watch.take(figures(0, 0, 1000)));
    EXPECT_EQ(watch.shown().left, std::nullopt);
    static_cast<void>(watch.take(figures(10, 100, 1000)));
    EXPECT_EQ(watch.shown().kbPerSecond, 200);
    EXPECT_EQ(watch.shown().left, seconds(5)); // 4.5, rounded up
}

TEST(ProgressModel, ForgetsSpeedsOfMoreThanSecondsAgo) {
    Watch watch;
    static_cast<void>(watch.take(figures(0, 0, 10000)));
    static_cast<void>(watch.take(figures(50, 5000, 10000)));
    for (int i = 1; i <= 20; ++i)
        static_cast<void>(watch.take(figures(50, 5000 + 5 * i, 10000)));
    EXPECT_EQ(watch.shown().kbPerSecond, 10);
}

TEST(ProgressModel, HasNoTimeLeftWithoutSpeed) {
    Watch watch;
    for (int i = 0; i < 30; ++i)
        static_cast<void>(watch.take(figures(10, 100, 1000)));
    EXPECT_EQ(watch.shown().kbPerSecond, 0);
    EXPECT_EQ(watch.shown().left, std::nullopt);
}

TEST(ProgressModel, TellsNoTimeLeftOfDays) {
    Watch watch;
    static_cast<void>(watch.take(figures(0, 0, 1e9)));
    static_cast<void>(watch.take(figures(0, 0.001, 1e9)));
    EXPECT_GT(watch.shown().kbPerSecond, 0);
    EXPECT_EQ(watch.shown().left, std::nullopt);
}

// By fuzzing.
TEST(ProgressModel, HasNoSpeedThatIsNoNumber) {
    Watch watch;
    constexpr double huge = std::numeric_limits<double>::max();
    static_cast<void>(watch.take(figures(1, 1, huge)));
    static_cast<void>(watch.take(figures(1, huge / 2, huge), {}, milliseconds(10)));
    EXPECT_EQ(watch.shown().kbPerSecond, 0);
    EXPECT_EQ(watch.shown().left, std::nullopt);
}

TEST(ProgressModel, MeasuresAnewWhenAPackageIsFetchedAgain) {
    Watch watch;
    static_cast<void>(watch.take(figures(0, 0, 1000)));
    static_cast<void>(watch.take(figures(50, 500, 1000)));
    static_cast<void>(watch.take(figures(10, 100, 1000)));
    EXPECT_EQ(watch.shown().kbPerSecond, 0);
    static_cast<void>(watch.take(figures(20, 200, 1000)));
    EXPECT_EQ(watch.shown().kbPerSecond, 200);
    EXPECT_EQ(watch.shown().left, seconds(4));
}

// --- events

TEST(ProgressModel, TellsEveryFinishedPackageOnce) {
    Watch watch;
    static_cast<void>(watch.take(figures(50, 50, 100)));
    EXPECT_THAT(watch.take(figures(60, 60, 100), {"/b"}), ElementsAre(Event{Kind::packageFinished, "/b"}));
    EXPECT_THAT(watch.take(figures(70, 70, 100), {"/a", "/b"}),
                ElementsAre(Event{Kind::packageFinished, "/a"}));
    EXPECT_THAT(watch.take(figures(80, 80, 100), {"/a", "/b"}), IsEmpty());
}

// The sum of the bytes rises, since the other package comes quickly.
TEST(ProgressModel, TellsAPackageFetchedAgainBesideAQuickOne) {
    Watch watch;
    static_cast<void>(watch.take(figures(60, 5 + 20, 105)));
    EXPECT_THAT(watch.take(figures(30, 0 + 60, 105)), IsEmpty()); // a package may have begun
    EXPECT_THAT(watch.take(figures(40, 0 + 80, 105), {}, seconds(2)),
                ElementsAre(Event{Kind::packageFetchedAgain, ""}));
    EXPECT_THAT(watch.take(figures(45, 0 + 90, 105), {}, milliseconds(10)), IsEmpty());
    static_cast<void>(watch.take(figures(40, 0 + 95, 105), {}, milliseconds(10)));
    EXPECT_THAT(watch.end(figures(99, 105, 105), Outcome::done),
                ElementsAre(Event{Kind::packageFetchedAgain, ""}, Event{Kind::phaseBegan, "done"}));
}

TEST(ProgressModel, TakesNoFiguresOfTheTryBeforeForTheNextOne) {
    const DownloadProgressInfo errorPage = figures(100, 10, 10);
    Watch watch;
    static_cast<void>(watch.take(flags(errorPage, true, false, true)));
    static_cast<void>(watch.end(flags(errorPage, true, false, true), Outcome::downloadsFailed));
    watch.beginAnew();
    EXPECT_THAT(watch.take(errorPage), IsEmpty());
    EXPECT_EQ(watch.shown().phase, Phase::downloading);
    EXPECT_EQ(watch.shown().percent, 0);
}

TEST(ProgressModel, TellsNothingOfAPackageThatBegins) {
    Watch watch;
    static_cast<void>(watch.take(figures(60, 60, 100)));
    EXPECT_THAT(watch.take(figures(30, 60, 100)), IsEmpty()); // before its server tells its length
    EXPECT_THAT(watch.take(figures(31, 62, 200)), IsEmpty());
    EXPECT_THAT(watch.take(figures(32, 64, 200), {}, seconds(2)), IsEmpty());
    EXPECT_THAT(watch.take(figures(20, 64, 200)), IsEmpty()); // before it fails
    EXPECT_THAT(watch.take(flags(figures(21, 66, 200), true, false, true)),
                ElementsAre(Event{Kind::packageFailed, ""}));
}

TEST(ProgressModel, TellsAFailureWithoutFiguresAtTheEndOfTheTry) {
    const DownloadProgressInfo failed = flags(nothing, true, false, true);
    Watch watch;
    EXPECT_THAT(watch.take(failed), ElementsAre(Event{Kind::phaseBegan, "preparing"}));
    EXPECT_THAT(watch.end(failed, Outcome::downloadsFailed), ElementsAre(Event{Kind::packageFailed, ""}));
}

TEST(ProgressModel, TellsAFailureInEveryTryOnce) {
    const milliseconds soon(100);
    const DownloadProgressInfo half = figures(50, 50, 100);
    const DownloadProgressInfo failed = flags(half, true, false, true);
    Watch watch;
    static_cast<void>(watch.take(half));
    EXPECT_THAT(watch.take(failed, {}, soon), ElementsAre(Event{Kind::packageFailed, ""}));
    EXPECT_THAT(watch.end(failed, Outcome::downloadsFailed), IsEmpty());
    watch.beginAnew();
    EXPECT_THAT(watch.take(failed, {}, soon), IsEmpty()); // still that of the try before
    EXPECT_THAT(watch.take(half, {}, soon), IsEmpty());
    EXPECT_THAT(watch.take(failed, {}, soon), ElementsAre(Event{Kind::packageFailed, ""}));
    EXPECT_THAT(watch.end(failed, Outcome::downloadsFailed), IsEmpty());
    watch.beginAnew();
    EXPECT_THAT(watch.end(failed, Outcome::downloadsFailed), ElementsAre(Event{Kind::packageFailed, ""}));
}

TEST(ProgressModel, TellsFailuresAndGivingUpOnce) {
    const milliseconds soon(100); // before standing still is told as well
    Watch watch;
    const DownloadProgressInfo half = figures(50, 50, 100);
    static_cast<void>(watch.take(half));
    EXPECT_THAT(watch.take(flags(half, true, false, true), {}, soon),
                ElementsAre(Event{Kind::packageFailed, ""}));
    EXPECT_THAT(watch.take(flags(half, true, false, true), {}, soon), IsEmpty());
    EXPECT_THAT(watch.take(flags(half, true, false, false), {}, soon),
                ElementsAre(Event{Kind::packageGivenUp, ""}));
    EXPECT_THAT(watch.take(flags(half, true, false, false), {}, soon), IsEmpty());
}

TEST(ProgressModel, LeavesAnEarlyFailureToTheEnding) {
    Watch watch;
    static_cast<void>(watch.take(nothing));
    EXPECT_THAT(watch.take(flags(nothing, true, false, true)), IsEmpty());
    EXPECT_THAT(watch.take(flags(figures(50, 50, 100), true, false, true)),
                ElementsAre(Event{Kind::phaseBegan, "downloading"}, Event{Kind::packageFailed, ""}));
}

struct Standstill {
    const char *name;
    DownloadProgressInfo info;
    std::string waitsFor;
};

class ProgressStandstill : public testing::TestWithParam<Standstill> {};

TEST_P(ProgressStandstill, SaysWhatItWaitsFor) {
    Watch watch;
    static_cast<void>(watch.take(GetParam().info));
    EXPECT_THAT(watch.take(GetParam().info, {}, milliseconds(1999)), IsEmpty());
    EXPECT_EQ(watch.shown().waitsFor, "");
    EXPECT_THAT(watch.take(GetParam().info, {}, milliseconds(1)),
                ElementsAre(Event{Kind::standsStill, GetParam().waitsFor}));
    EXPECT_THAT(watch.take(GetParam().info, {}, milliseconds(3500)), IsEmpty());
    EXPECT_EQ(watch.shown().waitsFor, GetParam().waitsFor);
    EXPECT_EQ(watch.shown().waits, seconds(5));
    DownloadProgressInfo further = GetParam().info;
    further.downloadedSize += 1;
    further.totalSize += 1;
    static_cast<void>(watch.take(further));
    EXPECT_EQ(watch.shown().waitsFor, "");
    EXPECT_EQ(watch.shown().waits, seconds(0));
}

INSTANTIATE_TEST_SUITE_P(
    Progress, ProgressStandstill,
    testing::Values(Standstill{"Preparing", nothing,
                               "the update service, its catalogs, the packages' server, or another job on "
                               "this machine"},
                    Standstill{"Downloading", figures(50, 50, 100), "data from the packages' server"},
                    Standstill{"Checking", figures(100, 100, 100), "the check of the packages' SHA-1"},
                    Standstill{"GivenUp", flags(figures(50, 50, 100), false, false, false),
                               "the packages that were not given up"}),
    [](const auto &parameter) { return std::string(parameter.param.name); });

TEST(ProgressModel, CountsNoTimeInWhichTheProcessWasStopped) {
    Watch watch;
    static_cast<void>(watch.take(figures(0, 0, 1000)));
    static_cast<void>(watch.take(figures(10, 100, 1000)));
    watch.goOn(seconds(60));
    EXPECT_THAT(watch.take(figures(10, 100, 1000)), IsEmpty());
    EXPECT_EQ(watch.shown().waitsFor, "");
    static_cast<void>(watch.take(figures(20, 200, 1000)));
    EXPECT_EQ(watch.shown().kbPerSecond, 200);
}

// --- outcomes

struct Judged {
    const char *name;
    DownloadProgressInfo info;
    Outcome outcome;
    bool downloadsBegan = true;
};

class ProgressOutcome : public testing::TestWithParam<Judged> {};

TEST_P(ProgressOutcome, IsReadFromTheFlags) {
    EXPECT_EQ(outcomeOf(GetParam().info, GetParam().downloadsBegan), GetParam().outcome);
}

INSTANTIATE_TEST_SUITE_P(
    Progress, ProgressOutcome,
    testing::Values(Judged{"Done", flags(figures(100, 9, 9), false, true, true), Outcome::done},
                    Judged{"Failed", flags(figures(50, 5, 9), true, false, true), Outcome::downloadsFailed},
                    Judged{"FailedBeforeDownloads", flags(nothing, true, false, true),
                           Outcome::failedBeforeDownloads, false},
                    Judged{"FailedWithoutAByte", flags(nothing, true, false, true), Outcome::downloadsFailed},
                    Judged{"GivenUp", flags(figures(50, 5, 9), false, false, false), Outcome::givenUp},
                    Judged{"FailedAndGivenUp", flags(figures(50, 5, 9), true, false, false),
                           Outcome::downloadsFailed},
                    Judged{"BrokenOff", flags(figures(50, 5, 9), false, false, true), Outcome::brokenOff}),
    [](const auto &parameter) { return std::string(parameter.param.name); });

// --- the bar

Figures downloading() {
    Figures figures;
    figures.phase = Phase::downloading;
    figures.percent = 50;
    figures.presentKb = 5 * 1024;
    figures.totalKb = 10 * 1024;
    figures.kbPerSecond = 1024;
    figures.left = seconds(5);
    return figures;
}

struct Window {
    int columns;
    std::string line;
};

class BarLine : public testing::TestWithParam<Window> {};

TEST_P(BarLine, FitsTheWindow) {
    EXPECT_EQ(barLine(downloading(), GetParam().columns, {"#", "-"}), GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(
    Bar, BarLine,
    testing::Values(Window{200, "downloading  ####################--------------------  50 %  5.0 of 10.0 MB "
                                " 1.0 MB/s  0:05 left"},
                    Window{70, "downloading  #######-------  50 %  5.0 of 10.0 MB  1.0 MB/s  0:05 left"},
                    Window{66, "downloading  #####-----  50 %  5.0 of 10.0 MB  1.0 MB/s  0:05 left"},
                    Window{65, "downloading  ##########----------  50 %  5.0 of 10.0 MB  1.0 MB/s"},
                    Window{45, "downloading  #####-----  50 %  5.0 of 10.0 MB"},
                    Window{41, "downloading  ###########-----------  50 %"}, //
                    Window{20, "downloading  50 %"},                         //
                    Window{16, "50 %"},                                      //
                    Window{3, "50 "},                                        //
                    Window{0, ""}),
    [](const auto &parameter) { return std::to_string(parameter.param.columns) + "Columns"; });

TEST(BarLineEveryWidth, IsNeverWiderThanTheWindow) {
    for (int columns = 0; columns < 300; ++columns)
        EXPECT_LE(barLine(downloading(), columns, {"#", "-"}).size(), static_cast<std::size_t>(columns));
}

TEST(BarLineWords, SayHowLongItWaits) {
    Figures figures = downloading();
    figures.waitsFor = "data from the packages' server";
    figures.waits = seconds(61);
    EXPECT_EQ(barLine(figures, 59, {"#", "-"}),
              "downloading  #####-----  50 %  5.0 of 10.0 MB  waiting 1:01");
}

TEST(BarLineWords, LeaveOutWhatIsNotKnown) {
    EXPECT_EQ(barLine({}, 30, {"#", "-"}), "preparing  --------------  0 %");
}

// --- words

TEST(Words, WriteTimes) {
    EXPECT_EQ(duration(seconds(0)), "0:00");
    EXPECT_EQ(duration(seconds(67)), "1:07");
    EXPECT_EQ(duration(seconds(3723)), "1:02:03");
}

TEST(Words, WriteMegabytesOf1024Kilobytes) {
    EXPECT_EQ(megabytes(0), "0.0");
    EXPECT_EQ(megabytes(1536), "1.5");
}

TEST(Words, LetNoPackageNameCommandTheTerminal) {
    EXPECT_EQ(inWords({Kind::packageFinished, "/nowhere/a\033[2Jb\n.pkg"}),
              "finished: a?[2Jb?.pkg, its SHA-1 is the catalog's");
}

struct Name {
    const char *name;
    std::string bytes;
    std::string shown;
};

class PrintableName : public testing::TestWithParam<Name> {};

TEST_P(PrintableName, KeepsTextAndNothingElse) {
    EXPECT_EQ(printable(GetParam().bytes), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(Words, PrintableName,
                         testing::Values(Name{"Ascii", "a ~.pkg", "a ~.pkg"}, Name{"Delete", "a\x7f", "a?"},
                                         Name{"TwoBytes", "\xc2\xa0\xc3\xa9", "\xc2\xa0\xc3\xa9"},
                                         Name{"ThreeBytes", "\xe2\x82\xac", "\xe2\x82\xac"},
                                         Name{"FourBytes", "\xf0\x9f\x98\x80", "\xf0\x9f\x98\x80"},
                                         Name{"SecondSetOfControls",
                                              "c\xc2\x9b"
                                              "31m",
                                              "c??31m"}, //
                                         Name{"RawControl",
                                              "c\x9b"
                                              "31m",
                                              "c?31m"},
                                         Name{"TurnedAround", "a\xe2\x80\xaegkp.exe", "a???gkp.exe"}, //
                                         Name{"LineSeparator", "\xe2\x80\xa8", "???"},                //
                                         Name{"MarkOfDirection", "\xd8\x9c", "??"},                   //
                                         Name{"Isolated", "\xe2\x81\xa6", "???"},                     //
                                         Name{"CutShort", "\xe2\x82", "??"},                          //
                                         Name{"CutShortByText", "\xe2\x82z", "??z"},
                                         Name{"LongerThanNeeded", "\xc0\x9b\xe0\x82\x9b", "?????"},
                                         Name{"TurnedText", "a\xe2\x80\xaeg", "a???g"}, //
                                         Name{"IsolatedText", "\xe2\x81\xa6g\xe2\x81\xa9", "???g???"},
                                         Name{"BesideThoseThatTurn", "\xe2\x80\xa7\xe2\x80\xaf\xe2\x81\xaa",
                                              "\xe2\x80\xa7\xe2\x80\xaf\xe2\x81\xaa"},
                                         Name{"HalfOfAPair", "\xed\xa0\x80", "???"}, //
                                         Name{"BeyondTheLast", "\xf4\x90\x80\x80", "????"},
                                         Name{"NoSuchByte", "\xff\xf8", "??"}),
                         [](const auto &parameter) { return std::string(parameter.param.name); });

// --- the engine's text of paths

struct Paths {
    const char *name;
    std::string text;
    std::vector<std::string> paths;
};

class PackageText : public testing::TestWithParam<Paths> {};

TEST_P(PackageText, IsTakenApart) {
    EXPECT_EQ(splitPackages(GetParam().text), GetParam().paths);
}

INSTANTIATE_TEST_SUITE_P(Engine, PackageText,
                         testing::Values(Paths{"None", "", {}}, Paths{"One", "/a.pkg!:", {"/a.pkg"}},
                                         Paths{"Two", "/a b.pkg!:/c:!d.pkg!:", {"/a b.pkg", "/c:!d.pkg"}}),
                         [](const auto &parameter) { return std::string(parameter.param.name); });

TEST(EngineLibrary, IsRefusedWhenItLacksTheFunctions) {
    EXPECT_THROW(Engine("libc.so.6"), EngineUnusable);
    EXPECT_THROW(Engine("/nowhere/libdownloadManager.so.1"), EngineUnusable);
}

} // namespace
