#pragma once

#include <cstddef>

// One field of the subscription database.
class IDBRField {
public:
    // Both fill the buffer with no more than length bytes; the text ends at the first zero byte or at the
    // buffer's end.
    virtual void GetName(char *buffer, std::size_t length) = 0;
    virtual void GetValue(char *buffer, std::size_t length) = 0;
    virtual void Release() = 0;

protected:
    ~IDBRField() = default;
};
