#include "Service.h"

#include "Releases.h"
#include "Text.h"

#include <boost/thread/lock_guard.hpp>

#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <stdexcept>

Service::Service(std::string root, std::string updateHost)
    : m_root(std::move(root))
    , m_updateHost(std::move(updateHost)) {
}

Answer Service::answer(const Request &request) {
    // A downloader asks for the same file by GET; HEAD is another matter, and so is another host.
    const std::string counted =
        (request.method == "HEAD" ? "HEAD " : "") + request.host + " " + request.target;
    // Held to the end: arrival order is the order of the numbers and of the attempts.
    const boost::lock_guard<boost::mutex> lock(m_mutex);
    const unsigned attempt = ++m_attempts[counted];

    Answer answer;
    try {
        if (!request.problem.empty()) {
            throw std::invalid_argument(request.problem);
        }
        answer.action = actionFor(contentOf(m_root + "/service/script").value_or(""), request.method,
                                  request.target, attempt);
        answer.reply = replyTo(request, answer.action);
    } catch (const std::invalid_argument &problem) {
        answer.action = Action();
        answer.reply = textReply(request.problem.empty() ? 500 : 400, problem.what() + std::string("\n"));
    }

    std::ostringstream number;
    number << std::setw(4) << std::setfill('0') << ++m_recorded;
    const std::string folder = m_root + "/log/requests/";
    const std::string draft = folder + "." + number.str();
    std::ofstream(draft, std::ios::binary) << request.raw;
    std::filesystem::rename(draft, folder + number.str()); // a reader never sees half of it

    std::ofstream index(m_root + "/log/service-requests.log", std::ios::app);
    index << number.str() << " | " << request.host << " | " << request.method << " | " << request.target
          << " | " << request.range << " | " << attempt << " | " << answer.action.name << " | "
          << answer.reply.status << '\n';
    return answer;
}

// Every byte of it, head included.
Reply Service::rawReply(const Action &action) const {
    const auto bytesOf = [this](const std::string &file) {
        auto bytes = contentOf(m_root + "/service/raw/" + file);
        if (!bytes) {
            throw std::invalid_argument("no file " + file);
        }
        return *std::move(bytes);
    };
    Reply reply = textReply(0, bytesOf(action.text));
    if (!action.repeated.empty()) {
        reply.forever = bytesOf(action.repeated);
    }
    return reply;
}

Reply Service::replyTo(const Request &request, const Action &action) const {
    if (action.name == "raw") {
        return rawReply(action);
    }
    if (action.name == "status") {
        return textReply(static_cast<unsigned>(action.number), action.text);
    }
    if (action.name == "redirect" || action.name == "moved") {
        Reply reply = textReply(action.name == "moved" ? static_cast<unsigned>(action.number) : 302, "");
        reply.headers.emplace_back("Location", action.text);
        return reply;
    }
    const bool isFileAsked = request.method == "GET" || request.method == "HEAD";
    const std::string folder = folderOf(request.host);
    if (isUpdateService(request.host) && !(isFileAsked && std::filesystem::exists(folder))) {
        return updateReply(request);
    }
    if (folder.empty()) {
        return textReply(400, "no such host here: " + request.host + "\n");
    }
    if (!isFileAsked) {
        return textReply(405, "files are asked for by GET or HEAD\n");
    }
    const std::string target = action.name == "as" ? action.text : request.target;
    const std::string path = target.substr(0, target.find('?'));
    if (path.empty() || path.front() != '/' || path.find("..") != std::string::npos) {
        return textReply(400, "not a path: " + path + "\n");
    }
    const bool ranges = action.name != "no-ranges";
    Reply reply = fileReply(folder + path, ranges ? request.range : "");
    if (!ranges) {
        reply.headers = {{"Content-Type", "application/octet-stream"}};
    }
    return reply;
}

bool Service::isUpdateService(const std::string &host) const {
    return host == "update.brovik.example" || host == m_updateHost;
}

// A host's files; the update service has some only where a release says so. "" for a host that is not here.
std::string Service::folderOf(const std::string &host) const {
    if (isUpdateService(host)) {
        return m_root + "/hosts/" + host;
    }
    const bool isScripted = host == "scripted.brovik.example" || host == "catalogs.brovik.example" ||
                            host == "packages.brovik.example";
    return isScripted ? m_root + "/scripted" : "";
}

Reply Service::updateReply(const Request &request) const {
    const std::string xml = "text/xml";
    if (request.method != "POST") {
        return textReply(400, "a productrequest is posted, not asked for by " + request.method + "\n");
    }
    if (request.target != "/velbrin/1.0.0.0/?reqtype=mac_update" &&
        request.target != "/velbrin/1.0.0.0/?reqtype=mac_web") {
        return textReply(400, "no service at " + request.target + "\n");
    }
    if (request.contentType.compare(0, xml.size(), xml) != 0) {
        return textReply(400, "a productrequest is text/xml, not " + request.contentType + "\n");
    }
    return releaseReply(m_root + "/service", request);
}
