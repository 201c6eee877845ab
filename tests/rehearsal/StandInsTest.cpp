#include "Shell.h"

#include <gtest/gtest.h>

namespace {

const std::string package = R"sh(
    mkdir -p /tmp/content/usr/local/Brovik /tmp/content/bin
    echo new >/tmp/content/usr/local/Brovik/product
    echo tool >/tmp/content/bin/some-tool
    "$rehearsal/make-package" /tmp/one.pkg /tmp/content >/dev/null
)sh";

TEST(Sudo, worksWithoutAPromptOrAWarning) {
    EXPECT_EQ(inside("sudo -n id -u; sudo -n touch /var/log/x"), (Outcome{"0\n", 0}));
}

TEST(SudoStandIn, takesTheOptionAgainstPromptsAndNoOther) {
    EXPECT_EQ(outside(R"sh("$rehearsal/stand-ins/sudo" -n -- echo 'two  blanks')sh"),
              (Outcome{"two  blanks\n", 0}));
    EXPECT_EQ(outside(R"sh("$rehearsal/stand-ins/sudo" -u nobody true)sh"),
              (Outcome{"sudo: the stand-in knows no option -u\n", 1}));
}

TEST(Sha1sum, isTheSuitesTool) {
    EXPECT_EQ(inside("printf abc | /usr/local/Brovik/qrn/bin/sha1sum").output,
              "a9993e364706816aba3e25717850c26c9cd0d89d  -\n");
}

TEST(Qrn, recordsWhatItIsAskedToDo) {
    EXPECT_EQ(inside("/usr/local/Brovik/qrn/bin/qrn restart; cat /srv/rehearsal/log/qrn.log").output,
              "restart\n");
}

TEST(Installer, unpacksAPackageIntoTheRoot) {
    const Outcome outcome = inside(package + R"sh(
        before=$(stat -c '%a %F' / /usr /bin /usr/local/Brovik)
        sudo installer -package /tmp/one.pkg -target / 2>&1
        echo "$?"
        cat /usr/local/Brovik/product /usr/bin/some-tool /srv/rehearsal/log/installer.log
        [[ $before == "$(stat -c '%a %F' / /usr /bin /usr/local/Brovik)" ]] && echo 'folders as before')sh");
    EXPECT_EQ(outcome.output, "installer: Package name is one.pkg\ninstaller: Installing at base path /\n"
                              "installer: The install was successful.\n0\nnew\ntool\n"
                              "-package /tmp/one.pkg -target / | 0\nfolders as before\n");
}

TEST(Installer, failsWhenToldTo) {
    const Outcome outcome = inside(package + R"sh(
        printf 'other.pkg 3\none.pkg 7\n' >/srv/rehearsal/installer-fails
        sudo installer -package /tmp/one.pkg -target / 2>/dev/null
        echo "$?"
        ls /usr/local/Brovik/product 2>/dev/null
        cat /srv/rehearsal/log/installer.log)sh");
    EXPECT_EQ(outcome.output, "7\n-package /tmp/one.pkg -target / | 7\n");
}

// Real packages can be rehearsed with, though nothing here unpacks them.
TEST(Installer, takesAFlatPackageForInstalled) {
    const Outcome outcome = inside(R"sh(
        printf 'xar!\0\1' >/tmp/flat.pkg
        installer -package /tmp/flat.pkg -target / 2>&1; echo "$?"
        cat /srv/rehearsal/log/installer.log)sh");
    EXPECT_EQ(outcome.output,
              "installer: The install was successful. (/tmp/flat.pkg is of a kind that is not "
              "unpacked here.)\n0\n-package /tmp/flat.pkg -target / | 0\n");
}

TEST(Installer, failsOnAMissingABrokenAndAMiscalledPackage) {
    const Outcome outcome = inside(R"sh(
        echo broken >/tmp/broken.pkg
        installer -package /tmp/none.pkg -target / 2>/dev/null >&2; echo "$?"
        installer -package /tmp/broken.pkg -target / 2>/dev/null >&2; echo "$?"
        installer -package /tmp/with blank.pkg -target / 2>/dev/null >&2; echo "$?")sh");
    EXPECT_EQ(outcome.output, "1\n1\n64\n");
}

TEST(MakePackage, givesTheSameBytesForTheSameContent) {
    const Outcome outcome = inside(package + R"sh(
        touch /tmp/content/usr/local/Brovik/product
        read -r hash size < <("$rehearsal/make-package" /tmp/two.pkg /tmp/content)
        cmp /tmp/one.pkg /tmp/two.pkg && echo same
        [[ ${hash,,} == "$(sha1sum </tmp/two.pkg | cut -c 1-40)" && $size == "$(wc -c </tmp/two.pkg)" ]] && echo "${hash:+described}")sh");
    EXPECT_EQ(outcome.output, "same\ndescribed\n");
}

TEST(ProductFiles, standAtTheirPaths) {
    const Outcome outcome = inside(R"sh(
        grep -o '<ProductVersion>.*<' /usr/local/Brovik/ProductConfig.xml
        grep -c InstallPkgOrder /usr/local/Brovik/DynaConfig.plist
        grep -c 'AffID\|AppID' /private/tmp/configuration.plist
        grep -c 10.8.5 /System/Library/CoreServices/SystemVersion.plist
        ls -d /usr/local/Brovik/qrn/{bin,lib,var} /usr/local/repost
        ls /usr/local/Brovik/qrn/{lib,var} /usr/local/repost /var/log/DownloadManager.log 2>/dev/null | grep -v ':$')sh");
    EXPECT_EQ(outcome.output,
              "<ProductVersion>1.0.0.5<\n1\n2\n1\n/usr/local/Brovik/qrn/bin\n"
              "/usr/local/Brovik/qrn/lib\n/usr/local/Brovik/qrn/var\n/usr/local/repost\n\n\n");
}

} // namespace
