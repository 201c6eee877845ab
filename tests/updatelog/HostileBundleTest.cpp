// Archives that are no bundles, or that mean harm.
#include <ostream>

#include <gmock/gmock.h>

#include "BundleFixture.h"

namespace {

using testing::HasSubstr;

struct Hostile {
    const char *name;
    const char *made;   // by the shell, in an empty folder that becomes /tmp/update.tar.gz
    const char *reason; // that is told
};

std::ostream &operator<<(std::ostream &stream, const Hostile &each) {
    return stream << each.name;
}

constexpr const char *makeManifest =
    R"(echo '{"format":1,"made":"","engine":{"version":""},"system":{"version":""},"masked":true,"missing":[]}' >bundle.json; )";

const Hostile hostiles[] = {
    {"NoArchive", "echo none >$bundle", "no archive, or a broken one"},
    {"Empty", ": >$bundle", "no archive, or a broken one"},
    {"Truncated",
     "head -c 300000 /dev/urandom >files/a; tar czf whole bundle.json files/a; head -c 200000 whole >$bundle",
     "no archive, or a broken one"},
    {"Link", "ln -s /etc/passwd files/a; tar czf $bundle bundle.json files/a", "no regular file"},
    {"HardLink", "echo x >files/a; ln files/a files/b; tar czf $bundle bundle.json files/a files/b",
     "no regular file"},
    {"Fifo", "mkfifo files/a; tar czf $bundle bundle.json files/a", "no regular file"},
    {"Device", "tar czf $bundle bundle.json /dev/null", "no regular file"},
    {"Folder", "mkdir files/a; tar czf $bundle bundle.json files/a", "leads elsewhere"},
    {"Absolute", "echo x >/tmp/in/a; tar czPf $bundle bundle.json /tmp/in/a", "leads elsewhere"},
    {"LeadingOut", "echo x >a; tar czPf $bundle --transform 's,^a$,files/../../a,' bundle.json a",
     "leads elsewhere"},
    {"Twice", "echo x >files/a; tar czf $bundle bundle.json files/a files/a", "no regular file"},
    {"OtherFile", "echo x >a; tar czf $bundle bundle.json a", "it has a file a"},
    {"NoManifest", "echo x >files/a; tar czf $bundle files/a", "it has no bundle.json"},
    {"ManifestOfAnotherFormat", "sed -i s/1/2/ bundle.json; tar czf $bundle bundle.json",
     "of another format"},
    {"ManifestThatIsNoJson", "echo '{' >bundle.json; tar czf $bundle bundle.json", "is another one"},
    {"ManifestOfOtherTypes", "echo '{\"format\":[]}' >bundle.json; tar czf $bundle bundle.json",
     "is another one"},
    {"TenGigabytesOfZeros", "truncate -s 10G files/a; tar czSf $bundle bundle.json files/a", "too long"},
    {"ManyFiles", "for i in $(seq 2100); do : >files/$i; done; tar czf $bundle bundle.json files/*",
     "too many files"},
    {"WithoutALog", "tar czf $bundle bundle.json", "the bundle has no /var/log/DownloadManager.log"},
    {"ManifestThatDoesNotTellWhetherItIsMasked",
     "sed -i s/masked/x/ bundle.json; tar czf $bundle bundle.json", "is another one"},
    {"LogOfNoRun",
     "mkdir -p files/var/log; echo x >files/var/log/DownloadManager.log; "
     "tar czf $bundle bundle.json files/var/log/DownloadManager.log",
     "nobody asked the service"},
};

// But what the test itself writes.
constexpr const char *everything = "ls -A /tmp /etc / | grep -v '^program[.]' | sort";

class HostileBundle : public BundleFixture, public testing::WithParamInterface<Hostile> {};

TEST_P(HostileBundle, IsRefusedAndLeavesNothing) {
    shell("rm -rf /tmp/in && mkdir -p /tmp/in/files && cd /tmp/in && bundle=" + std::string(file) + "; " +
          makeManifest + GetParam().made);
    const std::string before = shell(everything);
    const Ended ended = replay();
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.out, "");
    EXPECT_THAT(ended.err, HasSubstr("updatelog: /tmp/update.tar.gz: "));
    EXPECT_THAT(ended.err, HasSubstr(GetParam().reason));
    EXPECT_EQ(shell(everything), before);
}

INSTANTIATE_TEST_SUITE_P(Replay, HostileBundle, testing::ValuesIn(hostiles), caseName);

class HostileBundles : public BundleFixture {};

TEST_F(HostileBundles, AreNoneWithoutAFile) {
    EXPECT_EQ(replay().status, 2);
    shell("mkfifo " + std::string(file));
    EXPECT_EQ(replay().status, 2);
}

} // namespace
