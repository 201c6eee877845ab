#include "Shell.h"

#include <gtest/gtest.h>

namespace {

TEST(Seal, leavesTheMachineOutsideAlone) {
    const Outcome outcome = outside(R"sh(
        cd "$(mktemp -d)"
        export own=${PWD##*/}.new # no other program's
        echo kept >file
        state() { stat -c '%n %i %s %y' /etc /etc/hosts /etc/passwd /etc/ssl/certs /usr/local/bin /var/log 2>/dev/null; hostname; }
        before=$(state)
        "$seal" bash -c 'echo changed >file; echo new >new; rm -f /etc/passwd; echo x >>/etc/hosts
            touch /usr/local/bin/x /var/log/x /usr/local/Brovik/x /$own /dev/shm/$own /tmp/$own; hostname other
            [[ ! -w /dev ]] || touch /dev/$own'
        [[ $before == "$(state)" ]] && echo 'as before'
        cat file
        ls . "/$own" "/dev/$own" "/dev/shm/$own" "/tmp/$own" 2>/dev/null
        rm file && rmdir "$PWD")sh");
    EXPECT_EQ(outcome, (Outcome{"as before\nkept\n.:\nfile\n", 0}));
}

TEST(Seal, leavesNoMountOrProcessBehind) {
    const Outcome outcome = outside(R"sh(
        before=$(cut -d ' ' -f 5- /proc/self/mountinfo)
        "$seal" bash -c '(trap "" HUP TERM; exec sleep 1000) &'
        [[ $before == "$(cut -d ' ' -f 5- /proc/self/mountinfo)" ]])sh");
    EXPECT_EQ(outcome,
              (Outcome{"", 0})); // reading to the end shows that sleep, which holds the stream, is gone
}

struct EndCase {
    const char *name;
    const char *command;
    int status;
};

// CTest shows it beside the test's name.
void PrintTo(const EndCase &shown, std::ostream *stream) {
    *stream << shown.name;
}

class EndOfCommand : public testing::TestWithParam<EndCase> {};

TEST_P(EndOfCommand, isTheSealsStatus) {
    EXPECT_EQ(outside("\"$seal\" " + std::string(GetParam().command) + " 2>/dev/null").status,
              GetParam().status);
}

INSTANTIATE_TEST_SUITE_P(Seal, EndOfCommand,
                         testing::Values(EndCase{"success", "true", 0}, EndCase{"failure", "false", 1},
                                         EndCase{"anyStatus", "bash -c 'exit 217'", 217},
                                         EndCase{"terminated", "bash -c 'kill -TERM $$'", 143},
                                         EndCase{"interrupted", "bash -c 'kill -INT $$'", 130},
                                         EndCase{"crashed", "bash -c 'kill -SEGV $$'", 139},
                                         EndCase{"killed", "bash -c 'kill -KILL $$'", 137},
                                         EndCase{"notFound", "no-such-command", 127},
                                         EndCase{"noCommand", "", 64},
                                         EndCase{"unknownOption", "--no-such true", 64},
                                         EndCase{"noService", "--servers true", 64},
                                         EndCase{"noBuild", "--install /no/such true", 64},
                                         EndCase{"noFiles", "--files /no/such true", 64},
                                         EndCase{"failedInstall", "--install / true", 70},
                                         EndCase{"failedServer", "--servers --service /bin/false true", 70}),
                         [](const auto &one) { return one.param.name; });

TEST(Seal, passesStreamsArgumentsEnvironmentAndFolder) {
    const Outcome outcome = outside(R"sh(
        cd /usr/share
        echo from-input | variable='a  b' PATH=/odd:$PATH "$seal" -- bash -c \
            'cat; echo "$variable|$1|$2|$PWD|${PATH%%:*}"; echo to-error >&2' name 'two words' '' 2>/dev/null
        "$seal" bash -c 'echo to-output; echo to-error >&2' 2>&1 >/dev/null)sh");
    EXPECT_EQ(outcome, (Outcome{"from-input\na  b|two words||/usr/share|/odd\nto-error\n", 0}));
}

TEST(Seal, hasTheCommandRunByAnotherProgramWhenAsked) {
    const Outcome outcome = outside(R"sh(
        dir=$(mktemp -d) && cd "$dir" && printf '#!/bin/sh\necho under "$@"; "$@"; exit 7\n' >checker && chmod +x checker
        "$seal" --under checker echo one two; echo "$?"
        "$seal" --under missing true 2>/dev/null; echo "$?"
        rm -r "$dir")sh");
    EXPECT_EQ(outcome, (Outcome{"under echo one two\none two\n7\n64\n", 0}));
}

TEST(Seal, hasTheFilesFromTheBeginningWhenAsked) {
    const Outcome outcome = outside(R"sh(
        dir=$(mktemp -d) && cd "$dir" && mkdir -p "with blank"/usr/local/{Brovik/qrn/bin,new}
        echo '#!/bin/sh' >"with blank/usr/local/Brovik/qrn/bin/own" && chmod 755 "with blank/usr/local/Brovik/qrn/bin/own"
        ln -s own "with blank/usr/local/Brovik/qrn/bin/link" && echo new >"with blank/usr/local/new/file"
        cd / && "$seal" --files "$dir/with blank" bash -c '
            cd /usr/local/Brovik/qrn/bin && ./link && ls && cat ../../../new/file && stat -c %a . ../../../new
            echo other >../../../new/file && rm own'
        cat "$dir/with blank/usr/local/new/file" && ls "$dir/with blank/usr/local/Brovik/qrn/bin"
        rm -r "$dir")sh");
    EXPECT_EQ(outcome, (Outcome{"link\nown\nqrn\nsha1sum\nnew\n755\n755\nnew\nlink\nown\n", 0}));
}

TEST(Seal, addsNothingToTheCommandsStandardError) {
    EXPECT_EQ(outside("\"$seal\" bash -c 'kill -SEGV $$'"), (Outcome{"", 139}));
}

TEST(Seal, passesNoDescriptorsOfItsOwn) {
    const Outcome outcome = outside(R"sh(
        without=$(ls /proc/self/fd)
        within=$("$seal" ls /proc/self/fd)
        [[ $within == "$without" ]] || echo "$within")sh");
    EXPECT_EQ(outcome, (Outcome{"", 0}));
}

TEST(Seal, endsTheWholeMachineWhenItIsKilled) {
    for (const std::string signal : {"KILL", "TERM", "HUP"}) {
        const Outcome outcome = outside(R"sh(
            exec {output}< <(exec "$seal" bash -c 'sleep 1000 & setsid sleep 1000 & echo up; sleep 1000')
            read -r line <&"$output"
            kill -)sh" + signal + R"sh( $!
            cat <&"$output" # ends when nobody is left who could write
            echo "$line, gone")sh");
        EXPECT_EQ(outcome, (Outcome{"up, gone\n", 0})) << signal;
    }
}

TEST(Seal, keepsTheChangedFilesWhenAsked) {
    const Outcome outcome = outside(R"sh(
        dir=$(mktemp -d)
        cd "$dir" && mkdir sub && echo same >sub/same && echo old >sub/changed && echo removed >sub/removed
        "$seal" --keep kept bash -c 'echo new >sub/changed; rm sub/removed; echo list >/tmp/list; echo p >/usr/local/Brovik/p
            exit 3'
        echo "$?"
        cd kept && cat tmp/list usr/local/Brovik/p "${dir#/}/sub/changed" && ls "${dir#/}/sub"
        "$seal" --keep "$dir/kept" true
        echo "$?"
        rm -rf "$dir")sh");
    EXPECT_EQ(outcome.output.substr(0, 23), "3\nlist\np\nnew\nchanged\nse");
    EXPECT_NE(outcome.output.find("is not empty\n64\n"), std::string::npos) << outcome;
}

TEST(Seal, letsChangesReachAWritableFolder) {
    const Outcome outcome = outside(R"sh(
        cd "$(mktemp -d)" && mkdir real copied
        "$seal" --writable real touch real/file copied/file
        ls real copied
        rm -r real copied; rmdir "$PWD")sh");
    EXPECT_EQ(outcome, (Outcome{"copied:\n\nreal:\nfile\n", 0}));
}

TEST(Seal, hasAnEmptyTmpExceptForTheFolderItRunsIn) {
    const Outcome outcome = outside(R"sh(
        dir=$(mktemp -d /tmp/seal-test.XXXXXX) other=$(mktemp -d /tmp/seal-test.XXXXXX)
        cd "$dir" && touch here
        "$seal" bash -c "ls; [[ -e $other ]] || echo hidden; stat -c %a /tmp"
        rm -r "$dir" "$other")sh");
    EXPECT_EQ(outcome, (Outcome{"here\nhidden\n1777\n", 0}));
}

// Where the machine's / is a copy already, as in a container, a sealed machine's sealed machine can't be had.
class SealInASealedMachine : public testing::Test {
protected:
    void SetUp() override {
        const Outcome check = inside("\"$seal\" --check");
        if (check.status == 69)
            GTEST_SKIP() << check.output;
    }
};

TEST_F(SealInASealedMachine, works) {
    EXPECT_EQ(inside("\"$seal\" sudo id -u"), (Outcome{"0\n", 0}));
}

TEST_F(SealInASealedMachine, saysThatAThirdCannotBeLaidOverIt) {
    EXPECT_EQ(
        inside(R"sh("$seal" "$seal" --check 2>&1 | sed -n 1p; echo "${PIPESTATUS[0]}")sh"),
        (Outcome{
            "seal: this machine is a copy of a copy already, and Linux lays no third overlay over two\n69\n",
            0}));
}

TEST_F(SealInASealedMachine, needsNoHostsFile) {
    EXPECT_EQ(inside("rm /etc/hosts; \"$seal\" bash -c 'head -n 1 /etc/hosts; grep -c brovik /etc/hosts'"),
              (Outcome{"127.0.0.1 localhost\n2\n", 0}));
}

TEST_F(SealInASealedMachine, isCheckedForWithoutWhatABareSystemLacks) {
    const Outcome outcome =
        inside(hide + "hide ip nginx sudo openssl curl cmake; rm /etc/hosts; \"$seal\" --check");
    if (outcome.status == needsRealRoot)
        GTEST_SKIP() << outcome.output;
    EXPECT_EQ(outcome, (Outcome{"", 0}));
}

// Runs the script $1, whose $0 is the seal, in a chroot whose / is a plain folder and no mount.
const std::string inAPlainChroot = R"sh(
    mkdir /srv/plain && cd /srv/plain
    for entry in /*; do
        if [[ -L $entry ]]; then
            cp -P "$entry" .
        elif [[ -d $entry && $entry != /srv ]]; then
            mkdir ".$entry" && mount --rbind "$entry" ".$entry"
        fi
    done
    mkdir srv && echo plain >name
    chroot /srv/plain env -C /usr bash -c "$1" "$seal"
)sh";

TEST_F(SealInASealedMachine, worksInAPlainChroot) {
    const Outcome outcome = inside(R"sh(
        set -- '
            seal=$0 before=$(</proc/self/mountinfo)
            "$seal" bash -c "pwd; cat /name; touch /new /usr/new && ls /new /usr/new; exit 5"
            echo "$?"
            ls /new /usr/new 2>/dev/null
            [[ $before == "$(</proc/self/mountinfo)" ]] && echo "mounts as before"'
        )sh" + inAPlainChroot);
    EXPECT_EQ(outcome, (Outcome{"/usr\nplain\n/new\n/usr/new\n5\nmounts as before\n", 0}));
}

TEST_F(SealInASealedMachine, saysWhenProcIsMissing) {
    EXPECT_EQ(inside("set -- 'umount -l /proc; \"$0\" --check; echo $?'\n" + inAPlainChroot),
              (Outcome{"seal: /proc is not mounted here\nseal: needed: mount -t proc proc /proc\n69\n", 0}));
}

TEST_F(SealInASealedMachine, worksWhereFoldersAndFilesAreMounts) {
    const Outcome outcome = inside(R"sh(
        mkdir -p /home/one '/home/with blank' && echo hidden >/home/one/hidden
        mount -t tmpfs tmpfs /home/one && echo layered >/home/one/file
        mount -t tmpfs tmpfs '/home/with blank' && echo blank >'/home/with blank/file'
        echo '127.0.0.9 mounted.example' >/tmp/hosts && mount --bind /tmp/hosts /etc/hosts
        cd /home/one
        "$rehearsal/seal" bash -c 'ls; cat file "/home/with blank/file"; echo changed >file
            grep -o mounted.example /etc/hosts'
        cat file)sh");
    EXPECT_EQ(outcome, (Outcome{"file\nlayered\nblank\nmounted.example\nlayered\n", 0}));
}

TEST_F(SealInASealedMachine, hasTheFolderItRunsInAlsoBesideAndInAMountBelowTmp) {
    const Outcome outcome = inside(R"sh(
        mkdir -p /tmp/top/{mounted,beside} && mount -t tmpfs tmpfs /tmp/top/mounted
        echo on it >/tmp/top/mounted/file && echo beside it >/tmp/top/beside/file
        for folder in mounted beside; do
            cd /tmp/top/$folder && "$seal" bash -c 'cat file; echo changed >file; cat file' && cat file
        done)sh");
    EXPECT_EQ(outcome, (Outcome{"on it\nchanged\non it\nbeside it\nchanged\nbeside it\n", 0}));
}

TEST_F(SealInASealedMachine, hasDevicesThatAreMounts) {
    const Outcome outcome = inside(R"sh(
        [[ -w /dev ]] || { echo 'needs real root, to make a file for a device'; exit 77; }
        touch /dev/mounted && mount --bind /dev/zero /dev/mounted
        "$seal" bash -c 'head -c 3 /dev/mounted | wc -c')sh");
    if (outcome.status == needsRealRoot)
        GTEST_SKIP() << outcome.output;
    EXPECT_EQ(outcome, (Outcome{"3\n", 0}));
}

TEST_F(SealInASealedMachine, forgetsAnInstalledEngineAndWhatItLeft) {
    const Outcome outcome = inside(
        R"sh(
        touch /usr/local/Brovik/old /usr/local/repost/old /private/tmp/old /var/log/DownloadManager.log
        "$rehearsal/seal" bash -c 'ls /usr/local/Brovik /usr/local/repost /private/tmp /var/log/DownloadManager.log')sh");
    EXPECT_EQ(outcome.output.find("old"), std::string::npos) << outcome;
    EXPECT_NE(outcome.output.find("ProductConfig.xml"), std::string::npos) << outcome;
    EXPECT_NE(outcome.output.find("cannot access '/var/log/DownloadManager.log'"), std::string::npos)
        << outcome;
}

TEST(Seal, installsABuildIntoTheCopy) {
    const Outcome outcome = outside(R"sh(
        build=$(mktemp -d)
        echo 'file(WRITE /usr/local/Brovik/qrn/bin/built "built\n")' >"$build/cmake_install.cmake"
        "$seal" --install "$build" cat /usr/local/Brovik/qrn/bin/built
        ls /usr/local/Brovik/qrn/bin/built "$build/install_manifest.txt" 2>/dev/null
        rm -r "$build")sh");
    EXPECT_EQ(outcome, (Outcome{"built\n", 0}));
}

TEST(Seal, makesTwoMachinesThatDoNotDisturbEachOther) {
    const Outcome outcome = outside(R"sh(
        machine() {
            "$seal" --servers --service "$service" bash -c 'echo "$0" | tee /srv/rehearsal/download/file /tmp/file >/dev/null
                echo up; read -r; curl -s https://download.brovik.example/file; cat /tmp/file
                wc -l </srv/rehearsal/log/download.log; ps -A | grep -c nginx' "$1"
        }
        coproc first { machine one; }
        read -r <&"${first[0]}"
        echo | machine two
        echo >&"${first[1]}"
        cat <&"${first[0]}")sh");
    EXPECT_EQ(outcome, (Outcome{"up\ntwo\ntwo\n1\n1\none\none\n1\n1\n", 0}));
}

TEST(Seal, standsInForAnyHostAtAnyPort) {
    const Outcome outcome = outside(R"sh(
        "$seal" --servers --service "$service" --host CDN.maker.example --host http://cdn.maker.example:8080 \
            --host http://download.brovik.example --update-host asks.maker.example bash -s <<'INNER'
        cd /srv/rehearsal && echo one >hosts/cdn.maker.example/file && echo two >download/file
        curl -s https://cdn.maker.example/file http://cdn.maker.example:8080/file http://download.brovik.example/file
        curl -s -d x https://asks.maker.example/velbrin/2
        mkdir -p hosts/asks.maker.example && echo three >hosts/asks.maker.example/file
        curl -s https://asks.maker.example/file
        cat log/hosts.log
INNER
        "$seal" --host 'two words' true; echo "$?"
        "$seal" --servers --service "$service" --host https://update.brovik.example:8443 true 2>/dev/null; echo "$?")sh");
    EXPECT_EQ(outcome.output,
              "one\none\ntwo\nno service at /velbrin/2\nthree\n"
              "cdn.maker.example:443 | GET /file HTTP/1.1 | 200 | - | 4\n"
              "cdn.maker.example:8080 | GET /file HTTP/1.1 | 200 | - | 4\n"
              "download.brovik.example:80 | GET /file HTTP/1.1 | 200 | - | 4\n"
              "seal: --host two words: not a host, expected NAME or SCHEME://NAME:PORT\n64\n70\n");
}

TEST(Seal, forgetsWhatTheMachineKnowsOfTheHostsThatItStandsInFor) {
    const Outcome outcome = inside(R"sh(
        [[ -w /etc/hosts ]] || exit 0
        sed -i '1i 192.0.2.1 other.example Maker.example' /etc/hosts
        "$seal" --host maker.example bash -c 'grep -c -i maker.example /etc/hosts; grep maker.example /etc/hosts')sh");
    if (outcome.status == 69)
        GTEST_SKIP() << outcome.output;
    EXPECT_EQ(outcome.output, "1\n127.0.2.2 maker.example\n");
}

// A user namespace that allows no further one and lacks the right itself stands for a strict container.
TEST(Seal, saysWhatIsMissingWhereNoCopyCanBeMade) {
    const Outcome outcome = outside(R"sh(
        export seal
        without='exec setpriv --bounding-set=-sys_admin --inh-caps=-sys_admin "$seal" touch /usr/local/not-sealed'
        if unshare -Ur true 2>/dev/null; then
            unshare -Ur bash -c "echo 0 >/proc/sys/user/max_user_namespaces; $without"
        else
            bash -c "$without"
        fi
        echo "$?"; ls /usr/local/not-sealed 2>/dev/null)sh");
    EXPECT_NE(outcome.output.find("seal: unshare --user --map-root-user --mount"), std::string::npos)
        << outcome;
    EXPECT_NE(outcome.output.find("seal: needed: CAP_SYS_ADMIN"), std::string::npos) << outcome;
    EXPECT_EQ(outcome.output.substr(outcome.output.rfind('\n', outcome.output.size() - 2)), "\n69\n");
}

TEST(Seal, worksForAnOrdinaryUserWhereTheSystemAllowsIt) {
    const std::string asUser = "setpriv --reuid 65534 --regid 65534 --clear-groups ";
    if (outside(asUser + "bash -c 'test -x \"$1\" && unshare -Urm true' - \"$seal\"").status != 0) {
        GTEST_SKIP() << "this system allows no user namespaces, or this user can't read the checkout";
    }
    const Outcome outcome =
        outside("cd / && " + asUser + R"sh("$seal" --servers --service "$service" bash -s <<'INNER'
        sudo touch /usr/local/Brovik/new /var/log/DownloadManager.log /usr/local/repost/installer.sh && echo written
        echo content >/srv/rehearsal/download/file && curl -s https://download.brovik.example/file
INNER
        ls /usr/local/Brovik/new 2>/dev/null)sh");
    EXPECT_EQ(outcome.output, "written\ncontent\n");
}

TEST(Seal, usesTheMachineItselfOnlyWhenTold) {
    const Outcome outcome = insideWithServers(R"sh(
        rm -rf /usr/local/Brovik && "$rehearsal/serve" --stop
        "$rehearsal/seal" --as-is --servers --service "$service" bash -c 'echo left >/tmp/left; exit 9' 2>&1
        echo "$?"
        ls /usr/local/Brovik /tmp/left /srv/rehearsal/run/*.pid 2>/dev/null)sh");
    EXPECT_EQ(outcome.output,
              "seal: warning: no copy is made, COMMAND changes this machine itself\n9\n/tmp/left\n\n"
              "/usr/local/Brovik:\nDynaConfig.plist\nProductConfig.xml\nqrn\n");
}

// As nginx does in its first moments.
TEST(Seal, stopsAServerThatMissesTheFirstSignal) {
    const Outcome outcome = insideWithServers(R"sh(
        "$rehearsal/serve" --stop
        (bash -c 'signals=0; trap "((++signals))" TERM
            echo $$ >/srv/rehearsal/run/nginx.pid; while ((signals < 2)); do sleep 0.05; done' &)
        until [[ -s /srv/rehearsal/run/nginx.pid ]]; do sleep 0.01; done
        timeout 20 "$rehearsal/serve" --stop
        echo "$?")sh");
    EXPECT_EQ(outcome.output, "0\n");
}

} // namespace
