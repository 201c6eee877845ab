// Where the tests' subscription library finds its text and leaves its notes. Nothing else is here: whatever
// the library takes from the engine's headers is lost when it is unloaded.
#pragma once

// What the library holds and how it misbehaves: written by the test, read at every call.
constexpr const char *subscriptionDataPath = "/srv/rehearsal/subscription.txt";
// One line for every time it was loaded or unloaded: written by the library, read by the test.
constexpr const char *subscriptionLogPath = "/srv/rehearsal/subscription.log";
