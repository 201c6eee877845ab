/*
 * The functions that libdownloadManager exports to the suite's installer: one call runs a whole fresh
 * installation's downloads, the others watch and repeat it.
 *
 * A host in C or C++ links the library (pkg-config downloadManager, or CMake's find_package(downloadManager)
 * and the target downloadManager::downloadManager), or loads it by dlopen and finds the functions by name.
 * "pkg-config --libs" gives the program the folder where it finds the library as a run path, for another one
 * with "--define-variable=runpath=DIR".
 *
 *     job thread:  FreshInstall();             blocks until the downloads have ended
 *     another:     GetDownloadProgressInfo();  as often as it likes meanwhile, and once afterwards
 *
 * Threads
 *   The first call of any function creates the engine and opens its log, "/var/log/DownloadManager.log". It
 *   must be alone: no other function may be called before it returns. After that any of the functions may be
 *   called from any number of threads at once. FreshInstall and RetryDownloadPackages take as long as the
 *   downloads take; the three others never wait for one. Only completed progress makes
 *   GetDownloadProgressInfo write a small file. Nothing bounds how long a server may take to say whether it
 *   has a package; a transfer is given up after 30 seconds below 10000 bytes a second. Every package has a
 *   thread and several open files of its own: a host of many packages raises its limit of open files.
 *   A thread that is inside a function must not be cancelled (pthread_cancel): the process may end. The
 *   interruption of boost::thread is switched off inside the functions.
 *
 * Processes
 *   One job runs at a time on a machine, whoever runs it: an installation or a retry that begins while
 * another process runs one, or a product update, waits until that has ended, and says so in the log. A
 * process that died keeps nobody waiting. Within a process a second FreshInstall waits for the first, without
 * a line in the log; a retry resumes what has failed beside it.
 *
 * Lifetime
 *   The engine lives as long as the process: nothing releases it, and what one call leaves the next one
 *   finds. So the library is never unloaded (no dlclose), and there is no function to cancel an
 *   installation: a host that must stop ends its process. Downloads cut short stay on the disk; a new
 *   process fetches them anew.
 *   A process ends while a call runs by _Exit (_exit), or by a signal. By exit, or when main returns, the
 *   libraries that the engine uses destroy their state under its threads, which may crash; nothing of the
 *   engine's own is destroyed then. When no call runs, every way is as good.
 *
 * Failures
 *   No exception leaves a function. Where memory runs out, the log says so, and FreshInstall returns -1,
 *   GetDownloadProgressInfo and GetDownloadedPackages null, and GetHashValue an empty text.
 *
 * Memory
 *   The record of GetDownloadProgressInfo comes from C++'s new, the text of GetDownloadedPackages from its
 *   new[]; the caller frees them with the matching delete, never with free().
 *   In C++:
 *     std::unique_ptr<DownloadProgressInfo>(static_cast<DownloadProgressInfo *>(GetDownloadProgressInfo()))
 *     std::unique_ptr<char[]>(GetDownloadedPackages())
 *   C has no delete, but can call the operators under their linkage names, which are the same with every
 *   compiler of these systems; it links the C++ runtime for that (-lstdc++, on macOS -lc++):
 *     void _ZdlPv(void *record);   C++'s operator delete(void *)
 *     void _ZdaPv(void *text);     C++'s operator delete[](void *)
 *
 * Rights and surroundings
 *   The engine runs as root. A user whose sudo asks for no password is not enough: the engine makes folders
 *   by sudo, which are root's then, and the user cannot write the packages there. It needs
 *   - "/private/tmp/configuration.plist", a property list with the texts "AffID", the affiliate, and "AppID",
 *     the editions to install, separated by commas. Without the file these are "0" and "quaformac".
 *   - "/usr/local/Brovik/qrn/bin/sha1sum", the suite's hash tool. Without it, or without awk, no package
 *     passes its check, and each is fetched three times.
 *   - sudo and awk in a folder of PATH.
 *   - certificates that libcurl trusts (Debian: the package ca-certificates), since the update service is
 *     asked over HTTPS.
 *   - room for all packages on the disk with "/usr/local/Brovik/TempDownload". Nobody looks before: on a full
 *     disk downloads fail.
 *   libcurl obeys the proxies that the environment names, by https_proxy, http_proxy, all_proxy and no_proxy,
 *   and by all but http_proxy in capitals as well. The engine and its tools write remarks to the process's
 *   standard output and error: a host that prints there itself keeps a copy of the streams and points the
 *   originals elsewhere.
 *
 * Version
 *   The macros below are of the header that a host is compiled with. To ask for a version before there are
 *   find_package(downloadManager 1.0) in CMake and "pkg-config --atleast-version=1.0 downloadManager".
 *   Versions with the same first number are compatible.
 */
#ifndef DOWNLOADMANAGER_H
#define DOWNLOADMANAGER_H

#define DOWNLOADMANAGER_VERSION "1.0.0"
#define DOWNLOADMANAGER_VERSION_MAJOR 1
#define DOWNLOADMANAGER_VERSION_MINOR 0
#define DOWNLOADMANAGER_VERSION_PATCH 0

#pragma GCC visibility push(default)
#ifdef __cplusplus
extern "C" {
#else
#include <stdbool.h>
#endif

/*
 * How far all packages of the installation are. A kilobyte is 1024 bytes.
 *
 * In a process's first installation all figures are 0 and stay so until the first package's transfer has
 * begun: while the service is asked, the catalogs are fetched and the packages are looked for. A later one
 * begins with the figures of the one before. A server that tells no length leaves a package's
 * figures at 0 until the package is complete, and then too. The averages are over the packages begun so far,
 * each counting the same, whatever its size: they fall when a further package begins. The sizes fall when a
 * package whose bytes were wrong is fetched again.
 *
 *   phase                          failed  completed  resumable
 *   before the downloads           false   false      true
 *   failed before the downloads    true    false      true
 *   downloads run                  true as soon as one has failed, false until then; false; true
 *   a package was given up         as before it, like all figures; false; false, for good
 *   ended, all is well             false   true       true
 *   ended, some failed             true    false      true
 *   ended, one kept breaking off   false   false      true
 *
 * Only the end of FreshInstall or RetryDownloadPackages tells that the downloads have ended, whatever the
 * flags say before.
 */
typedef struct DownloadProgressInfo {
    double progressPercent; /* average, 0 to 100; at 100 the SHA-1 may still have to be checked */
    double downloadSpeed;   /* average, kilobytes per second; a package that has ended keeps its last speed */
    double remainingTime;   /* average, whole seconds; -2147483648, or an average with it, when unknown */
    double downloadedSize;  /* sum, kilobytes on the disk */
    double totalSize;       /* sum, kilobytes of the whole packages begun so far */
    bool failed;    /* a download ended in error or had no thread, or all failed before the downloads */
    bool completed; /* every package is complete and its SHA-1 is the catalog's, and no download runs or is
                       still to be started; a package whose file could not be opened does not count, and only
                       the log names it */
    bool resumable; /* false once a package was given up: no try brought one that passed the check of its
                       SHA-1, because the bytes were wrong or the check was not possible */
} DownloadProgressInfo;

/*
 * Runs a whole fresh installation's downloads: asks the update service, fetches the catalogs that it names,
 * looks whether every package is there, and downloads all of them at once, each into a folder named after its
 * version below "/usr/local/Brovik/TempDownload/Package". A transfer whose connection ends too early is
 * resumed by itself, up to three times, and any other error fails the download; a package with a wrong SHA-1
 * is fetched again by itself, up to twice.
 *
 * Returns when all has ended: 0 when the downloads ran, however they ended (ask GetDownloadProgressInfo), -1
 * when anything failed before them (RetryDownloadPackages repeats it; a second FreshInstall in one process
 * cannot read the service's reply). The log tells what failed.
 */
int FreshInstall(void);

/*
 * A new DownloadProgressInfo, which the caller frees (see above). Every call that returns completed progress
 * also writes the release's values as "BuildInfo" into "/private/tmp/configuration.plist"; so call it once
 * more when FreshInstall or RetryDownloadPackages has returned.
 */
void *GetDownloadProgressInfo(void);

/*
 * The paths of the packages that are complete and checked, each followed by "!:", in a new text that the
 * caller frees (see above); an empty text while there is none.
 */
char *GetDownloadedPackages(void);

/*
 * Repeats what failed, and returns when that has ended. After a failure before the downloads (FreshInstall
 * returned -1) that is the whole installation; otherwise every failed download goes on where it stopped, and
 * what was never started, since no thread could be had for it, is fetched.
 * Takes no notice of packages that kept breaking off, and has no success with one that was given up:
 * resumable stays false. For these start a new process. Look at GetDownloadProgressInfo for the outcome.
 */
void RetryDownloadPackages(void);

/*
 * The SHA-1 that the catalog gives for the package with this download URL, in hex; an empty text when no
 * package is known by it, as before the catalogs are read. In a fresh installation the first package whose
 * name occurs anywhere in the text counts, so the name of its file will do; a whole path may contain another
 * package's name. The text belongs to the engine, is never freed, and stays until the same thread's next call
 * of this function, or its end.
 */
const char *GetHashValue(const char *url);

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop

#endif
