#pragma once

class IDBRField;

// One node of the subscription database, read field by field.
class IDBRNode {
public:
    // Both give a field that the caller releases; null at the end.
    virtual IDBRField *FirstField() = 0;
    virtual IDBRField *NextField() = 0;
    virtual void Release() = 0;

protected:
    ~IDBRNode() = default;
};
