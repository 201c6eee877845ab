#pragma once

#include "Exchange.h"
#include "Script.h"

#include <boost/thread/mutex.hpp>

#include <map>
#include <string>

struct Answer {
    Reply reply;
    Action action; // how to send it
};

// Decides what every request is answered and records both. The hosts' data, the script and the records lie in
// one folder; data and script are read anew for every request. Used by all connections' threads at once.
class Service {
public:
    // The update service answers under that name too.
    Service(std::string root, std::string updateHost);

    // Returns when the request and what it will be answered are on record.
    Answer answer(const Request &request);

private:
    Reply replyTo(const Request &request, const Action &action) const;
    Reply rawReply(const Action &action) const;
    bool isUpdateService(const std::string &host) const;
    std::string folderOf(const std::string &host) const;
    Reply updateReply(const Request &request) const;
    void record(const Request &request, unsigned attempt, const Answer &answer);

    const std::string m_root;
    const std::string m_updateHost;

    boost::mutex m_mutex;
    std::map<std::string, unsigned> m_attempts BOOST_THREAD_GUARDED_BY(m_mutex);
    unsigned m_recorded BOOST_THREAD_GUARDED_BY(m_mutex) = 0;
};
