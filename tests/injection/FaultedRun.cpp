#include "FaultedRun.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "TextFile.h"

namespace {

const std::string recordPath = "/dev/shm/fault-record";
// The engine's own limits are 60 seconds for the service and 30 of low speed.
constexpr std::chrono::seconds mostTime(150);
// A shell whose reader died writes into nothing and ends.
constexpr std::chrono::seconds timeToEnd(20);

void must(bool done, const std::string &what) {
    if (!done)
        throw std::system_error(errno, std::generic_category(), what);
}

std::vector<std::string> sortedLines(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    std::sort(lines.begin(), lines.end());
    return lines;
}

// The numbers of pipes and sockets are others every time.
std::string withoutDigits(std::string text) {
    text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }),
               text.end());
    return text;
}

std::string fileName(const std::string &path) {
    return path.substr(path.rfind('/') + 1);
}

// This process's children: what outlives its parent becomes one.
std::vector<pid_t> children() {
    std::istringstream stream(readText("/proc/self/task/" + std::to_string(getpid()) + "/children"));
    std::vector<pid_t> found;
    for (pid_t process = 0; stream >> process;)
        found.push_back(process);
    return found;
}

std::string commandOf(pid_t process) {
    std::string command = readText("/proc/" + std::to_string(process) + "/cmdline");
    std::replace(command.begin(), command.end(), '\0', ' ');
    return command;
}

bool reapUntilNone(std::chrono::milliseconds time) {
    for (std::chrono::milliseconds waited(0); waited < time; waited += std::chrono::milliseconds(5)) {
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
        if (children().empty())
            return true;
        usleep(5000);
    }
    return false;
}

std::vector<std::string> endWhatIsLeft() {
    std::vector<std::string> left;
    if (reapUntilNone(timeToEnd))
        return left;
    for (const pid_t process : children()) {
        left.push_back(commandOf(process));
        kill(process, SIGKILL);
    }
    static_cast<void>(reapUntilNone(std::chrono::seconds(10)));
    return left;
}

} // namespace

FaultInjection::FaultInjection(std::string sanitizer)
    : m_preload(std::move(sanitizer)) {
    if (!m_preload.empty())
        m_preload += ":";
    m_preload +=
        (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "libfaultInjector.so").string();
    must(prctl(PR_SET_CHILD_SUBREAPER, 1) == 0, "prctl");
    const int file = open(recordPath.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    must(file != -1 && ftruncate(file, sizeof(FaultRecord)) == 0, recordPath);
    void *shared = mmap(nullptr, sizeof(FaultRecord), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    must(shared != MAP_FAILED, "mmap");
    static_cast<void>(close(file));
    m_record = static_cast<FaultRecord *>(shared);
}

FaultInjection::~FaultInjection() {
    static_cast<void>(munmap(m_record, sizeof(FaultRecord)));
}

std::vector<FallibleCall> FaultInjection::takeDown(const std::vector<std::string> &command, FaultedEnd &end) {
    m_record->hasPoint = false;
    m_record->callCount = 0;
    end = run(command);
    const std::uint32_t count = m_record->callCount;
    if (count > FaultRecord::maxCalls)
        throw std::runtime_error("the run made more calls than a record takes");
    return {m_record->calls.begin(), m_record->calls.begin() + count};
}

FaultedEnd FaultInjection::run(const std::vector<std::string> &command, const FaultPoint &point) {
    m_record->hasPoint = true;
    m_record->point = point;
    return run(command);
}

FaultedEnd FaultInjection::run(const std::vector<std::string> &command) {
    m_record->occurrences = 0;
    m_record->hasFailed = 0;
    m_record->hasEnded = 0;
    m_record->frameCount = 0;
    m_record->openFiles.front() = '\0';

    // By env, since this program's own children are not to have it.
    std::vector<std::string> injected = {"env", "LD_PRELOAD=" + m_preload,
                                         "FAULT_INJECTION_RECORD=" + recordPath};
    injected.insert(injected.end(), command.begin(), command.end());
    FaultedEnd end;
    {
        Program program(injected);
        end.hung = !program.endsWithin(mostTime);
        if (end.hung) {
            for (const pid_t process : children())
                kill(process, SIGKILL);
        }
        end.ended = program.wait();
    }
    end.leftProcesses = endWhatIsLeft();
    end.reached = m_record->hasFailed != 0;
    end.failedCall = end.reached ? m_record->failedCall.data() : "";
    for (std::uint32_t i = 0; i < m_record->frameCount; ++i) {
        const StackFrame &frame = m_record->frames[i];
        std::ostringstream text;
        text << frame.module.data() << "+0x" << std::hex << frame.offset;
        end.stack.push_back(text.str());
    }
    end.hasEnded = m_record->hasEnded != 0;
    end.openFiles = sortedLines(withoutDigits(m_record->openFiles.data()));
    return end;
}

std::string engineCalls(const std::vector<std::string> &stack) {
    std::string calls;
    for (const std::string module : {"/usr/local/Brovik/qrn/lib/libdownloadManager.so.1", ""}) {
        std::ostringstream command;
        command << "addr2line -i -e " << (module.empty() ? "/usr/local/Brovik/qrn/bin/freshinstall" : module)
                << std::hex;
        for (const std::string &frame : stack) {
            const std::size_t plus = frame.rfind('+');
            // An address that a call returns to is behind the call.
            if (fileName(frame.substr(0, plus)) == fileName(module))
                command << " " << std::stoull(frame.substr(plus + 1), nullptr, 16) - 1;
        }
        // The project's own lines only, inlined ones too.
        std::istringstream lines(shell(command.str() + " </dev/null"));
        for (std::string line; std::getline(lines, line);) {
            if (line.find("src/mac/") != std::string::npos || line.find("freshinstall/") != std::string::npos)
                calls += (calls.empty() ? "" : " < ") + fileName(line.substr(0, line.find(' ')));
        }
    }
    return calls;
}
