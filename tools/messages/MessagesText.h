// The text of share/messages.json.
#pragma once

extern const char *const messagesText;
