// usage: returningHost MILLISECONDS
// A host that returns from its main function while an installation runs on another thread, which no host
// should: what the system's libraries do then is theirs, but nothing of the engine may be gone under its
// threads.
#include <chrono>
#include <cstdlib>
#include <thread>

#include "downloadManager.h"

int main(int argc, char *argv[]) {
    std::thread([] { static_cast<void>(FreshInstall()); }).detach();
    std::this_thread::sleep_for(std::chrono::milliseconds(argc > 1 ? std::atoi(argv[1]) : 0));
    return 0;
}
