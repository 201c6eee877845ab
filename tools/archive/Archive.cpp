#include "Archive.h"

#include <array>
#include <cerrno>
#include <memory>
#include <string_view>
#include <system_error>

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct FreeWriter {
    void operator()(archive *writer) const noexcept { static_cast<void>(archive_write_free(writer)); }
};
struct FreeReader {
    void operator()(archive *reader) const noexcept { static_cast<void>(archive_read_free(reader)); }
};
struct FreeEntry {
    void operator()(archive_entry *entry) const noexcept { archive_entry_free(entry); }
};
using Writer = std::unique_ptr<archive, FreeWriter>;
using Reader = std::unique_ptr<archive, FreeReader>;
using Entry = std::unique_ptr<archive_entry, FreeEntry>;

class OpenFile {
public:
    // A FIFO is nothing to wait for.
    explicit OpenFile(const std::string &path)
        : m_number(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) {
        if (m_number < 0)
            throw std::system_error(errno, std::generic_category(), path);
    }
    ~OpenFile() { static_cast<void>(close(m_number)); }
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;

    int number() const { return m_number; }
    bool isRegular() const {
        struct stat status {};
        return fstat(m_number, &status) == 0 && S_ISREG(status.st_mode);
    }

private:
    const int m_number;
};

std::string reasonOf(archive *failed) {
    const char *const reason = archive_error_string(failed);
    return reason == nullptr ? "no reason is told" : reason;
}

// --- writing

void expectWritten(archive *writer, la_ssize_t result) {
    if (result < ARCHIVE_OK)
        throw std::runtime_error("the archive cannot be made: " + reasonOf(writer));
}

la_ssize_t append(archive * /*writer*/, void *target, const void *bytes, std::size_t count) noexcept {
    try {
        static_cast<std::string *>(target)->append(static_cast<const char *>(bytes), count);
        return static_cast<la_ssize_t>(count);
    } catch (...) {
        return -1;
    }
}

Entry entryOf(const std::string &path, std::size_t size, unsigned mode) {
    Entry entry(archive_entry_new());
    if (!entry)
        throw std::bad_alloc();
    archive_entry_set_pathname(entry.get(), path.c_str());
    archive_entry_set_size(entry.get(), static_cast<la_int64_t>(size));
    archive_entry_set_filetype(entry.get(), S_IFREG);
    archive_entry_set_perm(entry.get(), static_cast<mode_t>(mode));
    archive_entry_set_mtime(entry.get(), 0, 0);
    return entry;
}

// --- reading

// A name of another character set is worth a warning to the library, and is taken as it stands.
void expectRead(archive *reader, la_ssize_t result) {
    if (result < ARCHIVE_OK && result != ARCHIVE_WARN)
        throw UnusableArchive("no archive, or a broken one: " + reasonOf(reader));
}

Reader readerOf(const OpenFile &file) {
    constexpr std::size_t blockSize = 65536;
    Reader reader(archive_read_new());
    if (!reader)
        throw std::bad_alloc();
    // Nothing else is guessed at: every further format is further code for hostile input.
    expectRead(reader.get(), archive_read_support_filter_gzip(reader.get()));
    expectRead(reader.get(), archive_read_support_format_tar(reader.get()));
    expectRead(reader.get(), archive_read_open_fd(reader.get(), file.number(), blockSize));
    return reader;
}

bool isPlain(std::string_view path) {
    if (path.empty() || path.front() == '/' || path.back() == '/')
        return false;
    for (const char character : path) {
        const auto code = static_cast<unsigned char>(character);
        if (code < 0x20 || code == 0x7f)
            return false;
    }
    const std::string framed = "/" + std::string(path) + "/";
    return framed.find("/../") == std::string::npos && framed.find("/./") == std::string::npos &&
           framed.find("//") == std::string::npos;
}

std::string pathOf(archive_entry *entry) {
    const char *const path = archive_entry_pathname(entry);
    if (path == nullptr || !isPlain(path))
        throw UnusableArchive("holds a file whose path leads elsewhere");
    if (archive_entry_filetype(entry) != S_IFREG || archive_entry_hardlink(entry) != nullptr ||
        archive_entry_symlink(entry) != nullptr)
        throw UnusableArchive(std::string(path) + " is no regular file");
    return path;
}

// Its size is what the archive says, which need not be so.
std::string contentOf(archive *reader, std::size_t most) {
    std::string content;
    std::array<char, 65536> block{};
    while (true) {
        const la_ssize_t count = archive_read_data(reader, block.data(), block.size());
        expectRead(reader, count);
        if (count == 0)
            return content;
        if (static_cast<std::size_t>(count) > most - content.size())
            throw UnusableArchive("holds too much");
        content.append(block.data(), static_cast<std::size_t>(count));
    }
}

} // namespace

std::string archiveOf(const ArchivedFiles &files, Compression compression, unsigned mode) {
    std::string bytes; // outlives the writer, which may still write when it is freed
    const Writer writer(archive_write_new());
    if (!writer)
        throw std::bad_alloc();
    // Takes names of any bytes and any length as they are.
    expectWritten(writer.get(), archive_write_set_format_gnutar(writer.get()));
    if (compression == Compression::gzip) {
        expectWritten(writer.get(), archive_write_add_filter_gzip(writer.get()));
        expectWritten(writer.get(), archive_write_set_options(writer.get(), "gzip:!timestamp"));
    }
    expectWritten(writer.get(), archive_write_set_bytes_in_last_block(writer.get(), 1));
    expectWritten(writer.get(), archive_write_open(writer.get(), &bytes, nullptr, append, nullptr));
    for (const auto &[path, content] : files) {
        const Entry entry = entryOf(path, content.size(), mode);
        expectWritten(writer.get(), archive_write_header(writer.get(), entry.get()));
        expectWritten(writer.get(), archive_write_data(writer.get(), content.data(), content.size()));
    }
    expectWritten(writer.get(), archive_write_close(writer.get()));
    return bytes;
}

ArchivedFiles filesOfArchive(const std::string &path, const ArchiveBounds &bounds) {
    const OpenFile file(path);
    if (!file.isRegular())
        throw UnusableArchive("is no regular file");
    const Reader reader = readerOf(file);
    ArchivedFiles files;
    std::size_t left = bounds.bytes;
    archive_entry *entry = nullptr;
    for (int result = archive_read_next_header(reader.get(), &entry); result != ARCHIVE_EOF;
         result = archive_read_next_header(reader.get(), &entry)) {
        expectRead(reader.get(), result);
        const std::string name = pathOf(entry);
        if (files.size() == bounds.files)
            throw UnusableArchive("holds too many files");
        if (archive_entry_size_is_set(entry) != 0 &&
            archive_entry_size(entry) > static_cast<la_int64_t>(left))
            throw UnusableArchive(name + " is too long");
        const auto [place, isNew] = files.emplace(name, contentOf(reader.get(), left));
        if (!isNew)
            throw UnusableArchive("holds " + name + " twice");
        left -= place->second.size();
    }
    return files;
}
