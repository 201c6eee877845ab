#pragma once

#include <stdexcept>

// What a command was given cannot be used. The message is for people, of one line or more, and names the
// place.
class UnusableInput : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
