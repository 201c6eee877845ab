// What comes to a log under its name, which may be missing, and may be cut or replaced meanwhile.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

class LogTail {
public:
    enum class News {
        none,
        isThere,  // for the first time, or again
        wasCut,   // or written anew
        replaced, // by another file
    };

    struct Look {
        News news = News::none; // with any other the text is from the file's beginning
        std::string text;       // what has come
        bool isAll = true;      // for now
    };

    // So much is read at once.
    static constexpr std::size_t most = std::size_t(256) << 10;

    explicit LogTail(std::string path);
    ~LogTail();
    LogTail(const LogTail &) = delete;
    LogTail &operator=(const LogTail &) = delete;

    // Throws UnusableInput where the log is no file, and std::system_error where it cannot be read.
    Look look();
    bool isThere() const { return m_file != -1; }
    // Since it was last written to.
    std::chrono::seconds age() const;

private:
    bool open();
    void close();
    bool isReplaced() const;
    bool isCut() const;
    std::string readAt(std::uint64_t position, std::size_t length) const;

    const std::string m_path;
    int m_file = -1; // -1 while there is none
    std::uint64_t m_position = 0;
    std::string m_behind; // what was read last, by which a file that is written anew is known
};
