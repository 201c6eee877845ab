#include "Exchange.h"

#include "Text.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

namespace {

struct Part {
    std::uint64_t first;
    std::uint64_t length;
};

// One range of bytes, which is all that downloaders ask for; none when it lies outside the file.
std::optional<Part> partOf(std::uint64_t size, const std::string &range) {
    const std::string unit = "bytes=";
    const auto dash = range.find('-');
    if (range.compare(0, unit.size(), unit) != 0 || dash == std::string::npos) {
        return std::nullopt;
    }
    const auto first = wholeNumber(range.substr(unit.size(), dash - unit.size()));
    const auto last = wholeNumber(range.substr(dash + 1));
    if (!first && last) { // the last so many bytes
        const auto length = std::min(*last, size);
        return Part{size - length, length};
    }
    if (!first || *first >= size || (last && *last < *first)) {
        return std::nullopt;
    }
    return Part{*first, (last ? std::min(*last, size - 1) : size - 1) - *first + 1};
}

} // namespace

Reply textReply(unsigned status, const std::string &text, const std::string &contentType) {
    Reply reply;
    reply.status = status;
    reply.headers.emplace_back("Content-Type", contentType);
    reply.body = std::make_unique<std::istringstream>(text);
    reply.length = text.size();
    return reply;
}

Reply fileReply(const std::string &path, const std::string &range) {
    auto file = std::make_unique<std::ifstream>(path, std::ios::binary);
    if (!std::filesystem::is_regular_file(path) || !*file) {
        return textReply(404, "no such file\n");
    }
    Reply reply;
    reply.headers = {{"Content-Type", "application/octet-stream"}, {"Accept-Ranges", "bytes"}};
    const std::uint64_t size = std::filesystem::file_size(path);
    Part part{0, size};
    if (!range.empty()) {
        const auto asked = partOf(size, range);
        if (!asked) {
            reply = textReply(416, "no such range\n");
            reply.headers.emplace_back("Content-Range", "bytes */" + std::to_string(size));
            return reply;
        }
        part = *asked;
        reply.status = 206;
        reply.headers.emplace_back("Content-Range", "bytes " + std::to_string(part.first) + "-" +
                                                        std::to_string(part.first + part.length - 1) + "/" +
                                                        std::to_string(size));
    }
    file->seekg(static_cast<std::streamoff>(part.first));
    reply.body = std::move(file);
    reply.length = part.length;
    return reply;
}
