#pragma once

class IDBR;

// The suite's subscription information.
class ISubInfo {
public:
    // Names this interface to a class factory. The maker's number, known to builds with the maker's library.
    static constexpr int interfaceId = 1;

    // The reader of a numbered section, which the caller releases; negative when there is none.
    virtual int GetReader(int section, IDBR **reader) = 0;
    virtual void Release() = 0;

protected:
    ~ISubInfo() = default;
};
