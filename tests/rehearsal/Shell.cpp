#include "Shell.h"

#include <sys/wait.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

bool operator==(const Outcome &left, const Outcome &right) {
    return left.output == right.output && left.status == right.status;
}

std::ostream &operator<<(std::ostream &stream, const Outcome &outcome) {
    return stream << "status " << outcome.status << ", output:\n" << outcome.output;
}

Outcome outside(const std::string &script) {
    // Tools word their messages as the locale says.
    const std::string command = "export LC_ALL=C; rehearsal='" REHEARSAL "' seal='" REHEARSAL
                                "/seal' service='" SERVICE "' build='" BUILD "' "
                                "bash -s 2>&1 <<'END OF SCRIPT'\n" +
                                script + "\nEND OF SCRIPT\n";
    FILE *pipe = popen(command.c_str(), "r");
    if (!pipe) {
        throw std::runtime_error("no shell");
    }
    Outcome outcome;
    std::string piece(4096, '\0');
    while (const std::size_t got = std::fread(piece.data(), 1, piece.size(), pipe)) {
        outcome.output.append(piece, 0, got);
    }
    const int status = pclose(pipe);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return outcome;
}

Outcome inside(const std::string &script, const std::string &options) {
    return outside("\"$seal\" " + options + " bash -s <<'END OF INNER SCRIPT'\n" + script +
                   "\nEND OF INNER SCRIPT");
}

const std::string hide = R"sh(
    PATH=$PATH:/usr/sbin:/sbin
    hide() {
        for name; do
            rm "$(type -P "$name")" 2>/dev/null || { echo "needs real root, to remove $name"; exit 77; }
        done
    }
)sh";

Outcome insideWithServers(const std::string &script) {
    return inside(script, "--servers --service \"$service\"");
}
