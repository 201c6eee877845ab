#pragma once

class IDBRNode;

// Reads one section of the subscription database, node by node.
class IDBR {
public:
    // Both give a node that the caller releases; null at the end.
    virtual IDBRNode *FirstNode() = 0;
    virtual IDBRNode *NextNode() = 0;
    virtual void Release() = 0;

protected:
    ~IDBR() = default;
};
