// Questions that may never be answered, since another program is asked.
#pragma once

#include <functional>

enum class Answer { yes, no, late };

// Asks in a process and a session of its own, whose standard streams are the null device, and ends it with
// all that it started when it takes longer than ten seconds. A question that throws is answered by no. Throws
// std::system_error when no process is to be had.
Answer answerTo(const std::function<bool()> &question);
