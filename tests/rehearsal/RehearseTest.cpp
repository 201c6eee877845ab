// "releasebench rehearse", which makes its sealed machine itself.
#include "PseudoTerminal.h"
#include "Shell.h"

#include <csignal>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

// $bench is the program, $release the example's folder, in a folder that goes away; $TMPDIR is shown at the
// end if something is left there. "change EXPRESSION" edits the release by sed.
const std::string example = R"sh(
    work=$(mktemp -d) && cd "$work"
    export TMPDIR=$work/temporary && mkdir "$TMPDIR"
    trap 'status=$?; ls -A "$TMPDIR"; rm -rf "$work"; exit "$status"' EXIT
    bench=$build/releasebench release=$work/release
    "$bench" init "$release" >/dev/null
    change() { sed -i "$1" "$release/release.json"; }
    update=(--product 1.0.0.5 --system 10.8.5)
)sh";

Outcome rehearsed(const std::string &script) {
    return outside(example + script);
}

TEST(Rehearse, ofTheExampleIsWellAndAsForetold) {
    const Outcome outcome = rehearsed(R"sh(
        "$bench" rehearse "$release" "${update[@]}" --results results --keep kept &&
            ls results && grep -h ProductVersion kept/usr/local/Brovik/ProductConfig.xml)sh");
    EXPECT_EQ(outcome.status, 0) << outcome;
    EXPECT_THAT(
        outcome.output,
        AllOf(
            HasSubstr("product version 1.0.0.5, build 105, release basicmac3.3.\n"),
            HasSubstr("  asked for affiliate 105, application quaformac, system 10.8.5\n"),
            HasSubstr("  + platform.pkg brings 1.0.1.0: product 1.0.0.0 <= 1.0.0.5 <= 1.0.0.9, system "),
            HasSubstr("    repost/1.0.1.0/services.pkg\n    1.0.1.0/platform.pkg\n    1.0.1.0/toolbar.pkg\n"),
            HasSubstr("  version after:  1.0.1.0, build 130, release basicmac3.4\n"),
            HasSubstr("complete, as foretold: the same packages, order and versions. To read:\n"),
            Not(HasSubstr("PROBLEM"))));
    EXPECT_THAT(outcome.output, EndsWith("CheckForInstall.output\nDownloadManager.log\nInstall.output\n"
                                         "installer.sh\npackagelist.txt\n"
                                         "  <ProductVersion>1.0.1.0</ProductVersion>\n"));
}

TEST(Rehearse, tellsWhatACustomerHasWhenAPackageCannotBeInstalled) {
    const Outcome outcome =
        rehearsed(R"sh("$bench" rehearse "$release" "${update[@]}" --fail platform.pkg)sh");
    EXPECT_EQ(outcome.status, 0) << outcome;
    EXPECT_THAT(
        outcome.output,
        AllOf(HasSubstr("  Failed to install 1.0.1.0/platform.pkg\n"),
              HasSubstr("  version after:  1.0.0.5, build 105, release basicmac3.3\n"),
              HasSubstr("  installed:     services.pkg\n  not installed: platform.pkg, toolbar.pkg\n"),
              HasSubstr("nothing but the log tells of the failure"), EndsWith("All is as foretold.\n")));
}

TEST(Rehearse, refusesAPackageThatIsNotInstalled) {
    const Outcome outcome = rehearsed(R"sh(
        "$bench" rehearse "$release" "${update[@]}" --fail none.pkg; echo "$?"
        "$bench" rehearse "$release" --fresh --fail suite.pkg; echo "$?")sh");
    EXPECT_THAT(outcome.output,
                AllOf(HasSubstr("expected a package that this machine installs: services.pkg, platform.pkg, "
                                "toolbar.pkg\n2\n"),
                      HasSubstr("--fail suite.pkg: a fresh installation of the engine downloads"),
                      EndsWith("\n2\n")));
}

// The same host by two ports and schemes, and the update service's own host.
TEST(Rehearse, standsInForTheHostsThatTheReleaseNames) {
    const Outcome outcome = rehearsed(R"sh(
        change 's#https://download.brovik.example/full/suite#https://CDN.maker.example:8443/a%20b/suite#'
        change 's#https://download.brovik.example/full/extras#http://cdn.maker.example/extras#'
        change '0,/"root": "[^"]*"/s##"root": "https://update.brovik.example/catalogs"#'
        "$bench" rehearse "$release" --fresh --results results --keep kept
        echo "$?"
        cut -d '|' -f 1,2 kept/srv/rehearsal/log/hosts.log | grep GET | sort -u
        grep -o 'update.brovik.example | GET | /cat[^ ]*' kept/srv/rehearsal/log/service-requests.log)sh");
    EXPECT_THAT(outcome.output,
                AllOf(HasSubstr("as foretold: the same packages and versions."), Not(HasSubstr("PROBLEM")),
                      EndsWith("\n0\ncdn.maker.example:80 | GET /extras.pkg HTTP/1.1 \n"
                               "cdn.maker.example:8443 | GET /a%20b/suite.pkg HTTP/1.1 \n"
                               "update.brovik.example | GET | /catalogs/platform_maccat.xml\n")))
        << outcome;
}

TEST(Rehearse, refusesAHostThatNoMachineCanStandInFor) {
    const Outcome outcome = rehearsed(R"sh(
        change 's#https://download.brovik.example/full/suite#https://192.0.2.1/suite#'
        "$bench" rehearse "$release" --fresh; echo "$?"
        change 's#https://192.0.2.1/suite#https://cdn.maker.example./suite#'
        "$bench" rehearse "$release" --fresh; echo "$?")sh");
    EXPECT_THAT(outcome.output,
                AllOf(HasSubstr("release/release.json:"), HasSubstr("catalogs[0].fullInstall.url: "),
                      HasSubstr("https://192.0.2.1/suite.pkg is on a host that no machine can stand in for, "
                                "expected a host's name\n2\n"),
                      HasSubstr("https://cdn.maker.example./suite.pkg is on a host"), EndsWith("\n2\n")));
}

TEST(Rehearse, refusesTwoFilesWhereAServerHasOne) {
    const Outcome outcome = rehearsed(R"sh(
        change 's#full/suite.pkg"$#full/extras.pkg"#'
        "$bench" rehearse "$release" --fresh; echo "$?"
        change '0,/full.extras.pkg"$/s##full/extras.pkg/suite.pkg"#'
        "$bench" rehearse "$release" --fresh; echo "$?")sh");
    EXPECT_THAT(outcome.output,
                AllOf(HasSubstr("release.json:54: catalogs[1].fullInstall.url: "
                                "https://download.brovik.example/full/extras.pkg is "),
                      HasSubstr("packages/full/suite.pkg already, expected one file at a URL\n2\n"),
                      EndsWith("release.json:22: catalogs[0].fullInstall.url: "
                               "https://download.brovik.example/full/extras.pkg/suite.pkg lies below "
                               "https://download.brovik.example/full/extras.pkg, which is a file\n2\n")));
}

// As it is on a real server.
TEST(Rehearse, tellsWhatBecomesOfAUrlThatNoServerHasAFileFor) {
    const Outcome outcome = rehearsed(R"sh(
        change 's#full/suite.pkg"$#full/"#; s#full/extras.pkg"$#%2e%2e/%2e%2e/extras.pkg"#'
        "$bench" rehearse "$release" --fresh; echo "$?")sh");
    EXPECT_THAT(outcome.output,
                AllOf(HasSubstr("\nThe fresh installation fails: "), EndsWith("\nAll is as foretold.\n1\n")));
}

TEST(Rehearse, tellsWhatBecomesOfAUrlThatNoTransferCanBeMadeOf) {
    const Outcome fresh = rehearsed(R"sh(
        change 's#full/extras.pkg"$#full/ex tras.pkg"#'
        "$bench" rehearse "$release" --fresh; echo "$?")sh");
    EXPECT_THAT(fresh.output,
                AllOf(HasSubstr("\nThe fresh installation fails: ERROR: https://download.brovik.example/"
                                "full/ex tras.pkg Package Missing (libcurl makes no transfer of this URL)\n"),
                      EndsWith("\nAll is as foretold.\n1\n")));
    const Outcome update = rehearsed(R"sh(
        change '/"url"/s#toolbar.pkg#tool bar.pkg#'
        "$bench" rehearse "$release" "${update[@]}"; echo "$?")sh");
    EXPECT_THAT(update.output,
                AllOf(HasSubstr("\nThe update fails: ERROR: Download Failed (libcurl makes no transfer of "),
                      EndsWith("\nAll is as foretold.\n1\n")));
}

TEST(Rehearse, ofAMachineThatGetsNothingIsWell) {
    const Outcome outcome = rehearsed(R"sh(
        mkdir results && touch results/{installer.sh,packagelist.txt,mine} # of another one
        "$bench" rehearse "$release" --product 1.0.2.0 --system 10.8.5 --results results && ls results)sh");
    EXPECT_EQ(outcome.status, 0) << outcome;
    EXPECT_THAT(outcome.output,
                AllOf(HasSubstr("  - toolbar.pkg brings 1.0.1.0: product 1.0.2.0 is above maxVersion"),
                      HasSubstr("\nNothing is changed: No updates Found\n\nAll is as foretold. To read:\n"),
                      EndsWith("\nCheckForInstall.output\nDownloadManager.log\nmine\n")));
}

TEST(Rehearse, ofAReleaseThatFailsIsNotWell) {
    const Outcome crash = rehearsed(R"sh(
        change 's/"build": "130"/"build": "none"/'
        "$bench" rehearse "$release" "${update[@]}")sh");
    EXPECT_EQ(crash.status, 1);
    EXPECT_THAT(crash.output,
                AllOf(HasSubstr("\nThe update fails: the engine's process ends at platform.pkg"),
                      HasSubstr("\nAll is as foretold.\n")));
    const Outcome fresh = rehearsed(R"sh(
        change '0,/"url": "\(.*\)suite.pkg"/s##"url": "\1suite.pkg", "name": "another"#'
        "$bench" rehearse "$release" --fresh)sh");
    EXPECT_EQ(fresh.status, 1);
    EXPECT_THAT(fresh.output, AllOf(HasSubstr("The fresh installation fails: ERROR : Download Failed: "),
                                    HasSubstr("\nAll is as foretold.\n")));
}

TEST(Rehearse, takesTheCustomersOwnConfiguration) {
    const Outcome outcome = rehearsed(R"sh(
        sed 's/<BuildNumber>105</<BuildNumber>099</; s/1.0.0.5/1.0.2.0/' \
            "$rehearsal/product/ProductConfig.xml" >customer.xml
        "$bench" rehearse "$release" --config customer.xml --system 10.7.0)sh");
    EXPECT_EQ(outcome.status, 0) << outcome;
    EXPECT_THAT(outcome.output,
                AllOf(HasSubstr("product version 1.0.2.0, build 099, release basicmac3.3."),
                      HasSubstr("asked for affiliate 105, application quaformac, system 10.7.0")));
}

// What holds the stream is a process of the rehearsal: reading to the end shows that none is left.
TEST(Rehearse, leavesNoProcessAndNoFileWhenItIsEnded) {
    for (const std::string signal : {"TERM", "HUP", "KILL"}) {
        const Outcome outcome = rehearsed(R"sh(
            exec {output}< <(exec "$bench" rehearse "$release" "${update[@]}")
            until read -r line <&"$output" && [[ $line == *'the script starts in'* ]]; do :; done
            kill -)sh" + signal + R"sh( $!
            cat <&"$output"
            [[ )sh" + signal + R"sh( != KILL ]] || rm -r "$TMPDIR"/* # which nobody could do for it
            echo gone)sh");
        EXPECT_EQ(outcome, (Outcome{"gone\n", 0})) << signal;
    }
}

TEST(Rehearse, saysByWhatItEndedWhenItsMachineIsEnded) {
    const Outcome outcome = rehearsed(R"sh(
        exec {output}< <(exec 2>&1 "$bench" rehearse "$release" "${update[@]}")
        until read -r line <&"$output" && [[ $line == *'the script starts in'* ]]; do :; done
        kill -KILL "$(pgrep -f "^/usr/local/Brovik/qrn/bin/releasebench rehearse $release ")"
        cat <&"$output"
        wait $!
        echo "$?")sh");
    EXPECT_EQ(outcome, (Outcome{"releasebench: the rehearsal ended with status 137\n2\n", 0}));
}

// What is installed for the machine would come after the folder for it is gone.
TEST(Rehearse, endsTheInstallationOfItsBuildWhenItIsEnded) {
    const Outcome outcome = rehearsed(R"sh(
        mkdir bin && mkfifo go && exec {go}<>go
        cat >bin/cmake <<'STUB'
#!/bin/bash
echo begun >&9 && read -r _ <go && mkdir -p "${@: -1}"
STUB
        chmod 755 bin/cmake
        exec {output}< <(PATH=$work/bin:$PATH exec "$bench" rehearse "$release" --fresh 9>&1)
        read -r line <&"$output" && echo "$line"
        kill -TERM $!
        wait $!
        echo >&"$go"
        cat <&"$output"
        echo gone)sh");
    EXPECT_EQ(outcome, (Outcome{"begun\ngone\n", 0}));
}

TEST(Rehearse, leavesTheTerminalAsItFoundItWhenItIsInterrupted) {
    std::string folder = outside("mktemp -d").output;
    folder.pop_back(); // the end of the line
    outside("cd " + folder + R"sh( && "$build/releasebench" init release >/dev/null
        sed -i 's#https://download.brovik.example/full#https://scripted.brovik.example/full#' release/release.json
        echo '/full/suite.pkg * slow 100' >script)sh");
    for (const int signal : {SIGINT, SIGTERM}) {
        PseudoTerminal terminal({BUILD "/releasebench", "rehearse", folder + "/release", "--fresh",
                                 "--script", folder + "/script"},
                                80);
        EXPECT_TRUE(terminal.shows("%"));
        EXPECT_FALSE(terminal.echoes());
        terminal.send(signal);
        EXPECT_EQ(terminal.end(), 128 + signal);
        EXPECT_TRUE(terminal.echoes());
    }
    outside("rm -r " + folder);
}

TEST(Rehearse, worksWhereItIsInstalled) {
    const Outcome outcome = rehearsed(R"sh(
        cmake --install "$build" --prefix "$work/installed" >/dev/null
        cd / && "$work/installed/bin/releasebench" rehearse "$release" --fresh; echo "$?"
        rm "$work/installed/share/downloadManager/rehearsal/seal"
        "$work/installed/bin/releasebench" rehearse "$release" --fresh; echo "$?")sh");
    EXPECT_THAT(outcome.output, AllOf(HasSubstr("as foretold: the same packages and versions.\n0\n"),
                                      HasSubstr("no sealed machine is installed here, "), EndsWith("\n2\n")))
        << outcome;
}

// There the copy's engine is put in the place of this one.
TEST(Rehearse, worksWhereTheEngineIsInstalled) {
    if (inside("\"$seal\" --check").status == 69)
        GTEST_SKIP() << "no sealed machine can be made in a sealed machine here";
    const Outcome outcome = inside(R"sh(
        PATH=/usr/local/Brovik/qrn/bin:$PATH
        cd /tmp && releasebench init release >/dev/null && releasebench rehearse release --fresh)sh",
                                   "--install \"$build\"");
    EXPECT_EQ(outcome.status, 0) << outcome;
    EXPECT_THAT(outcome.output, HasSubstr("as foretold: the same packages and versions.\n"));
}

// Whose temporary folder the copy may lack, and who may not be told for the owner of anything of root's.
TEST(Rehearse, worksForAnOrdinaryUserWhereTheSystemAllowsIt) {
    const std::string asUser = "setpriv --reuid 65534 --regid 65534 --clear-groups ";
    if (outside(asUser + "unshare -Urm true").status != 0)
        GTEST_SKIP() << "this system allows no user namespaces";
    const Outcome outcome = rehearsed(
        R"sh(
        chmod 755 "$work" && mkdir -m 777 "$work/users"
        cmake --install "$build" --prefix "$work/installed" >/dev/null
        cd / && )sh" +
        asUser +
        R"sh(bash -c 'export TMPDIR=$1/users && "$1/installed/bin/releasebench" rehearse "$1/release" --fresh
            echo "$?" && ls -A "$TMPDIR"' - "$work")sh");
    EXPECT_THAT(outcome.output, EndsWith("as foretold: the same packages and versions.\n0\n")) << outcome;
}

TEST(Rehearse, showsAnExampleThatWorks) {
    const Outcome outcome = rehearsed(R"sh(
        rm -r "$release"
        PATH=$build:$PATH
        example=$(releasebench rehearse --help | sed -n 's/^ *[$] //p')
        echo "$example"
        eval "${example/rehearse my-release/rehearse my-release --fresh}")sh");
    EXPECT_EQ(outcome.status, 0) << outcome;
    EXPECT_THAT(outcome.output,
                AllOf(HasSubstr("releasebench rehearse my-release --product 1.0.0.5 --system 10.8.5\n"),
                      HasSubstr("as foretold: the same packages and versions.\n")));
}

TEST(Rehearse, saysWhenNoMachineCanBeMade) {
    const Outcome outcome = rehearsed(R"sh(
        without=(setpriv --bounding-set=-sys_admin --inh-caps=-sys_admin)
        rehearse="exec ${without[*]} $bench rehearse $release --fresh"
        if unshare -Ur true 2>/dev/null; then
            unshare -Ur bash -c "echo 0 >/proc/sys/user/max_user_namespaces; $rehearse"
        else
            bash -c "$rehearse"
        fi
        echo "$?")sh");
    EXPECT_THAT(outcome.output, AllOf(HasSubstr("seal: needed: CAP_SYS_ADMIN"), EndsWith("\n2\n")))
        << outcome;
}

} // namespace
