// Preloaded into a program: takes down every call that can fail, or has one of them fail. It knows nothing of
// the engine but the names of its files. Programs that the program starts are left alone.
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <curl/curl.h>
#include <dirent.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <libxml/xmlerror.h>
#include <link.h>
#include <netdb.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "FaultRecord.h"

extern "C" {
void *__libc_malloc(std::size_t);
void *__libc_calloc(std::size_t, std::size_t);
void *__libc_realloc(void *, std::size_t);
void *__libc_memalign(std::size_t, std::size_t);
extern char **environ;
}

namespace {

// Names the file that is mapped.
constexpr const char *recordVariable = "FAULT_INJECTION_RECORD";

FaultRecord *record = nullptr;

// Whether this thread is at work for the injector itself, whose own calls do not count.
__thread int ownWork __attribute__((tls_model("initial-exec"))) = 0;

class OwnWork {
public:
    OwnWork() { ++ownWork; }
    ~OwnWork() { --ownWork; }
    OwnWork(const OwnWork &) = delete;
    OwnWork &operator=(const OwnWork &) = delete;
};

// FNV-1a.
class Hash {
public:
    void add(const void *bytes, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i)
            m_value = (m_value ^ static_cast<const unsigned char *>(bytes)[i]) * 1099511628211U;
    }
    void add(const char *text) { add(text, std::strlen(text)); }
    std::uint64_t value() const { return m_value; }

private:
    std::uint64_t m_value = 14695981039346656037U;
};

const char *baseName(const char *path) {
    const char *slash = std::strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

template <std::size_t size>
void copy(std::array<char, size> &target, const char *text) {
    std::strncpy(target.data(), text, size - 1);
    target[size - 1] = '\0';
}

// Where an address lies: module "" is the program itself.
struct Place {
    const char *module = "?";
    std::uint64_t offset = 0;
};

Place placeOf(void *address) {
    dl_find_object found{};
    if (_dl_find_object(address, &found) != 0)
        return {};
    return {found.dlfo_link_map->l_name,
            reinterpret_cast<std::uint64_t>(address) - found.dlfo_link_map->l_addr};
}

// The calls that lead to this one, without the injector's own.
class Stack {
public:
    Stack() {
        static const Place own = placeOf(reinterpret_cast<void *>(&baseName));
        void *addresses[FaultRecord::maxFrames];
        const int count = backtrace(addresses, FaultRecord::maxFrames);
        for (int i = 0; i < count; ++i) {
            const Place place = placeOf(addresses[i]);
            if (place.module != own.module)
                m_places[m_count++] = place;
        }
    }

    // The undefined-behaviour sanitizer opens pipes to look at memory. Another one may stand between.
    bool isSanitizers() const {
        for (int i = 0; i < m_count && i < 2; ++i) {
            if (std::strstr(m_places[i].module, "libubsan") != nullptr)
                return true;
        }
        return false;
    }

    std::uint64_t site(const char *call) const {
        Hash hash;
        hash.add(call);
        for (int i = 0; i < m_count; ++i)
            add(hash, m_places[i]);
        return hash.value();
    }

    // Without any call of the engine's, say on a thread of a library: the innermost calls.
    std::uint64_t group(const char *call) const {
        Hash hash;
        hash.add(call);
        bool hasEngine = false;
        for (int i = 0; i < m_count; ++i) {
            if (!isEngine(m_places[i]))
                continue;
            add(hash, m_places[i]);
            hasEngine = true;
        }
        for (int i = 0; !hasEngine && i < m_count && i < 4; ++i)
            add(hash, m_places[i]);
        return hash.value();
    }

    void keep() const {
        for (int i = 0; i < m_count; ++i) {
            StackFrame &frame = record->frames[static_cast<std::size_t>(i)];
            copy(frame.module, m_places[i].module);
            frame.offset = m_places[i].offset;
        }
        record->frameCount = static_cast<std::uint32_t>(m_count);
    }

private:
    static bool isEngine(const Place &place) {
        return place.module[0] == '\0' || std::strstr(place.module, "libdownloadManager") != nullptr;
    }
    static void add(Hash &hash, const Place &place) {
        hash.add(baseName(place.module));
        hash.add(&place.offset, sizeof place.offset);
    }

    Place m_places[FaultRecord::maxFrames];
    int m_count = 0;
};

std::uint32_t pageOffsetOf(void *address) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(address) & 0xfff);
}

void takeDown(FaultKind kind, const char *call, void *caller) {
    const Stack stack;
    if (stack.isSanitizers())
        return;
    const std::uint32_t index = record->callCount++;
    if (index >= FaultRecord::maxCalls)
        return;
    FallibleCall &taken = record->calls[index];
    taken.site = stack.site(call);
    taken.group = stack.group(call);
    taken.pageOffset = pageOffsetOf(caller);
    taken.kind = kind;
    copy(taken.name, call);
}

bool isPoint(FaultKind kind, const char *call, void *caller) {
    const FaultPoint &point = record->point;
    if (kind != point.kind || pageOffsetOf(caller) != point.pageOffset || record->hasFailed != 0)
        return false;
    const Stack stack;
    if (stack.site(call) != point.site || record->occurrences++ != point.occurrence)
        return false;
    stack.keep();
    copy(record->failedCall, call);
    record->hasFailed = 1;
    return true;
}

bool shallFail(FaultKind kind, const char *call, void *caller) {
    if (record == nullptr || ownWork != 0)
        return false;
    const int error = errno;
    const OwnWork own;
    bool fails = false;
    if (record->hasPoint)
        fails = isPoint(kind, call, caller);
    else
        takeDown(kind, call, caller);
    errno = error;
    return fails;
}

// The libraries of a program that loads the engine itself are not where RTLD_NEXT looks.
void *findNext(const char *name) {
    const OwnWork own;
    if (void *found = dlsym(RTLD_NEXT, name))
        return found;
    for (const char *library : {"libcurl.so.4", "libxml2.so.2", "libplist-2.0.so.3"}) {
        void *handle = dlopen(library, RTLD_NOLOAD | RTLD_LAZY);
        void *found = handle == nullptr ? nullptr : dlsym(handle, name);
        if (found != nullptr)
            return found;
    }
    std::abort(); // it was called, so it is there
}

void takeDownOpenFiles() {
    DIR *folder = opendir("/proc/self/fd");
    if (folder == nullptr)
        return;
    std::size_t used = 0;
    while (const dirent *entry = readdir(folder)) {
        const int descriptor = std::atoi(entry->d_name);
        char target[200];
        const ssize_t length = readlinkat(dirfd(folder), entry->d_name, target, sizeof target);
        if (descriptor <= STDERR_FILENO || descriptor == dirfd(folder) || length <= 0)
            continue;
        const auto size = static_cast<std::size_t>(length);
        if (used + size + 2 > record->openFiles.size())
            break;
        std::memcpy(record->openFiles.data() + used, target, size);
        used += size;
        record->openFiles[used++] = '\n';
    }
    record->openFiles[used] = '\0';
    closedir(folder);
}

__attribute__((constructor)) void begin() {
    const OwnWork own;
    const char *path = std::getenv(recordVariable);
    if (path == nullptr)
        return;
    const int file = open(path, O_RDWR | O_CLOEXEC);
    void *shared = file == -1
                       ? MAP_FAILED
                       : mmap(nullptr, sizeof(FaultRecord), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (shared == MAP_FAILED)
        std::abort();
    close(file);
    // For this program only, not for those that it starts.
    unsetenv(recordVariable);
    unsetenv("LD_PRELOAD");
    void *address = nullptr;
    static_cast<void>(backtrace(&address, 1)); // loads what it needs
    record = static_cast<FaultRecord *>(shared);
}

__attribute__((destructor)) void end() {
    if (record == nullptr)
        return;
    const OwnWork own;
    takeDownOpenFiles();
    record->hasEnded = 1;
}

} // namespace

// A function of the C libraries in whose place this one stands: on its point it does what FAILURE says and
// else what it always does. `original` is the real one.
#define FALLIBLE_IF(CONDITION, KIND, RESULT, NAME, PARAMETERS, ARGUMENTS, FAILURE)                           \
    extern "C" __attribute__((visibility("default"))) RESULT injected_##NAME PARAMETERS __asm__(#NAME);      \
    extern "C" RESULT injected_##NAME PARAMETERS {                                                           \
        static const auto original = reinterpret_cast<RESULT(*) PARAMETERS>(findNext(#NAME));                \
        if ((CONDITION) && shallFail(FaultKind::KIND, #NAME, __builtin_return_address(0)))                   \
            FAILURE                                                                                          \
        return original ARGUMENTS;                                                                           \
    }

#define FALLIBLE(KIND, RESULT, NAME, PARAMETERS, ARGUMENTS, FAILURE)                                         \
    FALLIBLE_IF(true, KIND, RESULT, NAME, PARAMETERS, ARGUMENTS, FAILURE)

#define GIVES(ERROR, RESULT)                                                                                 \
    {                                                                                                        \
        errno = ERROR;                                                                                       \
        return RESULT;                                                                                       \
    }
// What gives something back fails when it has done so.
#define GIVES_AFTERWARDS(ERROR, RESULT, ...)                                                                 \
    {                                                                                                        \
        static_cast<void>(original(__VA_ARGS__));                                                            \
        errno = ERROR;                                                                                       \
        return RESULT;                                                                                       \
    }

// --- memory; operator new and the libraries' own functions come here

#define ALLOCATION(NAME, PARAMETERS, ORIGINAL)                                                               \
    extern "C" __attribute__((visibility("default"))) void *injected_##NAME PARAMETERS __asm__(#NAME);       \
    extern "C" void *injected_##NAME PARAMETERS {                                                            \
        if (shallFail(FaultKind::memory, #NAME, __builtin_return_address(0)))                                \
            GIVES(ENOMEM, nullptr)                                                                           \
        return ORIGINAL;                                                                                     \
    }

#ifndef WITHOUT_MEMORY
ALLOCATION(malloc, (std::size_t size), __libc_malloc(size))
ALLOCATION(calloc, (std::size_t count, std::size_t size), __libc_calloc(count, size))
ALLOCATION(realloc, (void *old, std::size_t size), __libc_realloc(old, size))
ALLOCATION(memalign, (std::size_t alignment, std::size_t size), __libc_memalign(alignment, size))
ALLOCATION(aligned_alloc, (std::size_t alignment, std::size_t size), __libc_memalign(alignment, size))
#endif

// --- files

#define FILE_OPENING(NAME)                                                                                   \
    FALLIBLE(files, int, NAME, (const char *path, int flags, mode_t mode), (path, flags, mode),              \
             GIVES(EMFILE, -1))
FILE_OPENING(open)
FILE_OPENING(open64)
FALLIBLE(files, int, openat, (int folder, const char *path, int flags, mode_t mode),
         (folder, path, flags, mode), GIVES(EMFILE, -1))
FALLIBLE(files, FILE *, fopen, (const char *path, const char *mode), (path, mode), GIVES(EMFILE, nullptr))
FALLIBLE(files, FILE *, fopen64, (const char *path, const char *mode), (path, mode), GIVES(EMFILE, nullptr))
FALLIBLE(files, FILE *, fdopen, (int file, const char *mode), (file, mode), GIVES(ENOMEM, nullptr))
FALLIBLE(files, ssize_t, read, (int file, void *bytes, std::size_t size), (file, bytes, size), GIVES(EIO, -1))
FALLIBLE(files, ssize_t, write, (int file, const void *bytes, std::size_t size), (file, bytes, size),
         GIVES(ENOSPC, -1))
FALLIBLE(files, ssize_t, pread, (int file, void *bytes, std::size_t size, off_t from),
         (file, bytes, size, from), GIVES(EIO, -1))
FALLIBLE(files, std::size_t, fread, (void *bytes, std::size_t size, std::size_t count, FILE *file),
         (bytes, size, count, file), GIVES(EIO, 0))
FALLIBLE(files, std::size_t, fwrite, (const void *bytes, std::size_t size, std::size_t count, FILE *file),
         (bytes, size, count, file), GIVES(ENOSPC, 0))
FALLIBLE(files, char *, fgets, (char *text, int size, FILE *file), (text, size, file), GIVES(EIO, nullptr))
FALLIBLE(files, int, fgetc, (FILE * file), (file), GIVES(EIO, EOF))
FALLIBLE(files, int, fputs, (const char *text, FILE *file), (text, file), GIVES(ENOSPC, EOF))
FALLIBLE(files, int, vfprintf, (FILE * file, const char *format, std::va_list arguments),
         (file, format, arguments), GIVES(ENOSPC, -1))
FALLIBLE(files, int, fflush, (FILE * file), (file), GIVES_AFTERWARDS(ENOSPC, EOF, file))
FALLIBLE(files, int, setvbuf, (FILE * file, char *buffer, int mode, std::size_t size),
         (file, buffer, mode, size), GIVES(ENOMEM, -1))
FALLIBLE(files, int, fclose, (FILE * file), (file), GIVES_AFTERWARDS(EIO, EOF, file))
FALLIBLE(files, int, close, (int file), (file), GIVES_AFTERWARDS(EIO, -1, file))
FALLIBLE(files, int, fsync, (int file), (file), GIVES(EIO, -1))
FALLIBLE(files, int, rename, (const char *from, const char *to), (from, to), GIVES(EIO, -1))
FALLIBLE(files, int, unlink, (const char *path), (path), GIVES(EIO, -1))
FALLIBLE(files, int, mkdir, (const char *path, mode_t mode), (path, mode), GIVES(ENOSPC, -1))
FALLIBLE(files, int, stat, (const char *path, struct stat *found), (path, found), GIVES(EIO, -1))
FALLIBLE(files, int, lstat, (const char *path, struct stat *found), (path, found), GIVES(EIO, -1))
FALLIBLE(files, int, fstat, (int file, struct stat *found), (file, found), GIVES(EIO, -1))
FALLIBLE(files, int, stat64, (const char *path, void *found), (path, found), GIVES(EIO, -1))
FALLIBLE(files, int, fstat64, (int file, void *found), (file, found), GIVES(EIO, -1))
FALLIBLE(files, int, access, (const char *path, int mode), (path, mode), GIVES(EIO, -1))
FALLIBLE(files, ssize_t, readlink, (const char *path, char *target, std::size_t size), (path, target, size),
         GIVES(EIO, -1))
FALLIBLE(files, int, truncate, (const char *path, off_t size), (path, size), GIVES(EIO, -1))
FALLIBLE(files, int, ftruncate, (int file, off_t size), (file, size), GIVES(EIO, -1))
FALLIBLE(files, int, fchmod, (int file, mode_t mode), (file, mode), GIVES(EIO, -1))
FALLIBLE(files, int, fchown, (int file, uid_t user, gid_t group), (file, user, group), GIVES(EIO, -1))
FALLIBLE(files, int, flock, (int file, int operation), (file, operation), GIVES(ENOLCK, -1))
FALLIBLE(files, DIR *, opendir, (const char *path), (path), GIVES(EMFILE, nullptr))
// No system refuses anything else of a descriptor that is open.
#define DUPLICATION(NAME)                                                                                    \
    FALLIBLE_IF(command == F_DUPFD || command == F_DUPFD_CLOEXEC, files, int, NAME,                          \
                (int file, int command, void *argument), (file, command, argument), GIVES(EMFILE, -1))
DUPLICATION(fcntl)
DUPLICATION(fcntl64)

// --- processes

FALLIBLE(processes, int, pipe, (int *ends), (ends), GIVES(EMFILE, -1))
FALLIBLE(processes, int, pipe2, (int *ends, int flags), (ends, flags), GIVES(EMFILE, -1))
FALLIBLE(processes, FILE *, popen, (const char *command, const char *mode), (command, mode),
         GIVES(EAGAIN, nullptr))
FALLIBLE(processes, int, pclose, (FILE * file), (file), GIVES_AFTERWARDS(ECHILD, -1, file))
FALLIBLE(processes, pid_t, fork, (), (), GIVES(EAGAIN, -1))
FALLIBLE(processes, pid_t, waitpid, (pid_t process, int *status, int options), (process, status, options),
         GIVES(ECHILD, -1))
FALLIBLE(processes, int, execv, (const char *path, char *const *arguments), (path, arguments),
         GIVES(EACCES, -1))
FALLIBLE(processes, int, uname, (void *system), (system), GIVES(EFAULT, -1))
FALLIBLE(processes, int, getrlimit, (int what, void *limit), (what, limit), GIVES(EINVAL, -1))
FALLIBLE(processes, int, setrlimit, (int what, const void *limit), (what, limit), GIVES(EPERM, -1))

extern "C" __attribute__((visibility("default"))) int injected_execl(const char *path, const char *first,
                                                                     ...) __asm__("execl");
extern "C" int injected_execl(const char *path, const char *first, ...) {
    if (shallFail(FaultKind::processes, "execl", __builtin_return_address(0)))
        GIVES(EACCES, -1)
    const OwnWork own;
    constexpr std::size_t most = 16;
    char *arguments[most + 1] = {const_cast<char *>(first)};
    std::va_list others;
    va_start(others, first);
    for (std::size_t i = 1; i < most && arguments[i - 1] != nullptr; ++i)
        arguments[i] = va_arg(others, char *);
    va_end(others);
    return execve(path, arguments, environ);
}

// --- threads

FALLIBLE(threads, int, pthread_create,
         (pthread_t * thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument),
         (thread, attributes, body, argument), { return EAGAIN; })

// --- network

FALLIBLE(network, int, socket, (int domain, int type, int protocol), (domain, type, protocol),
         GIVES(EMFILE, -1))
FALLIBLE(network, int, socketpair, (int domain, int type, int protocol, int *ends),
         (domain, type, protocol, ends), GIVES(EMFILE, -1))
FALLIBLE(network, int, connect, (int socket, const void *address, socklen_t size), (socket, address, size),
         GIVES(ENETUNREACH, -1))
FALLIBLE(network, ssize_t, send, (int socket, const void *bytes, std::size_t size, int flags),
         (socket, bytes, size, flags), GIVES(ECONNRESET, -1))
FALLIBLE(network, ssize_t, recv, (int socket, void *bytes, std::size_t size, int flags),
         (socket, bytes, size, flags), GIVES(ECONNRESET, -1))
FALLIBLE(network, int, poll, (void *files, unsigned long count, int time), (files, count, time),
         GIVES(ENOMEM, -1))
FALLIBLE(network, int, getaddrinfo,
         (const char *host, const char *service, const addrinfo *hints, addrinfo **addresses),
         (host, service, hints, addresses), { return EAI_AGAIN; })

// --- libcurl, as the engine calls it

FALLIBLE(curl, CURLcode, curl_global_init, (long flags), (flags), { return CURLE_FAILED_INIT; })
FALLIBLE(curl, CURL *, curl_easy_init, (), (), { return nullptr; })
FALLIBLE(curl, CURLcode, curl_easy_setopt, (CURL * handle, CURLoption option, void *value),
         (handle, option, value), { return CURLE_OUT_OF_MEMORY; })
FALLIBLE(curl, CURLcode, curl_easy_perform, (CURL * handle), (handle), { return CURLE_OUT_OF_MEMORY; })
FALLIBLE(curl, CURLcode, curl_easy_getinfo, (CURL * handle, CURLINFO what, void *value),
         (handle, what, value), { return CURLE_BAD_FUNCTION_ARGUMENT; })
FALLIBLE(curl, curl_slist *, curl_slist_append, (curl_slist * list, const char *text), (list, text),
         { return nullptr; })

// --- libxml2, as the engine calls it: without memory, since these have no other reason to fail

namespace {

void outOfXmlMemory() {
    const auto handler = reinterpret_cast<xmlStructuredErrorFunc *(*)()>(findNext("__xmlStructuredError"))();
    const auto context = reinterpret_cast<void **(*)()>(findNext("__xmlStructuredErrorContext"))();
    xmlError error{};
    error.code = XML_ERR_NO_MEMORY;
    if (*handler != nullptr)
        (*handler)(*context, &error);
}

} // namespace

FALLIBLE(xml, void *, xmlNewParserCtxt, (), (), {
    outOfXmlMemory();
    return nullptr;
})
FALLIBLE(xml, void *, xmlCtxtReadIO,
         (void *context, int (*read)(void *, char *, int), int (*close)(void *), void *source,
          const char *url, const char *encoding, int options),
         (context, read, close, source, url, encoding, options), {
             outOfXmlMemory();
             return nullptr;
         })
FALLIBLE(xml, void *, xmlXPathNewContext, (void *document), (document), {
    outOfXmlMemory();
    return nullptr;
})
FALLIBLE(xml, void *, xmlXPathNewParserContext, (const unsigned char *text, void *context), (text, context), {
    outOfXmlMemory();
    return nullptr;
})
FALLIBLE(xml, void *, valuePop, (void *context), (context), {
    outOfXmlMemory();
    return nullptr;
})
FALLIBLE(xml, void *, xmlBufferCreate, (), (), {
    outOfXmlMemory();
    return nullptr;
})
FALLIBLE(xml, int, xmlNodeDump, (void *buffer, void *document, void *node, int level, int format),
         (buffer, document, node, level, format), {
             outOfXmlMemory();
             return -1;
         })
FALLIBLE(xml, void *, xmlEncodeSpecialChars, (const void *document, const unsigned char *text),
         (document, text), {
             outOfXmlMemory();
             return nullptr;
         })
FALLIBLE(xml, void *, xmlFindCharEncodingHandler, (const char *name), (name), {
    outOfXmlMemory();
    return nullptr;
})
FALLIBLE(xml, void *, xmlNewTextChild,
         (void *parent, void *space, const unsigned char *name, const unsigned char *text),
         (parent, space, name, text), {
             outOfXmlMemory();
             return nullptr;
         })
FALLIBLE(xml, void *, xmlSetProp, (void *node, const unsigned char *name, const unsigned char *value),
         (node, name, value), {
             outOfXmlMemory();
             return nullptr;
         })
FALLIBLE(xml, void *, xmlOutputBufferCreateIO, (void *write, void *close, void *context, void *encoder),
         (write, close, context, encoder), {
             outOfXmlMemory();
             return nullptr;
         })

// --- libplist, as the engine calls it

FALLIBLE(plist, void *, plist_new_dict, (), (), { return nullptr; })
FALLIBLE(plist, void *, plist_new_string, (const char *text), (text), { return nullptr; })
FALLIBLE(plist, void, plist_to_xml, (void *list, char **xml, std::uint32_t *size), (list, xml, size), {
    *xml = nullptr;
    *size = 0;
    return;
})

// --- time

// A hundred times as fast: an installation sleeps for ten seconds.
extern "C" __attribute__((visibility("default"))) unsigned injected_sleep(unsigned seconds) __asm__("sleep");
extern "C" unsigned injected_sleep(unsigned seconds) {
    usleep(seconds * 10000);
    return 0;
}
