// Another program, run as a user would run it and looked at from outside.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <sys/types.h>

// How a program ended: its exit status, or 128 and the number of the signal that ended it.
struct Ended {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs from its construction on; killed in the destructor when it still runs then.
class Program {
public:
    explicit Program(const std::vector<std::string> &command);
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;
    Program(Program &&) = delete;
    Program &operator=(Program &&) = delete;

    bool endsWithin(std::chrono::milliseconds time) const;
    Ended wait(); // prints where it hangs when it takes very long
    void send(int signal) const;
    pid_t id() const { return m_process; }

private:
    void tellWhereItHangs() const;

    std::string m_output; // the folder of what it writes
    pid_t m_process = -1;
};

Ended run(const std::vector<std::string> &command);

// What a shell script writes to its standard output. A script that fails is an error of the test's own.
std::string shell(const std::string &script);
