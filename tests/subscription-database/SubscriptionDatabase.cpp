// A subscription library for the tests, which behaves and misbehaves as a text file tells it. Its lines:
//
//   gcf-result N       what "GCF" returns (0 unless told)
//   no-factory         "GCF" gives no factory
//   objects-though-failed   what fails gives a factory or an object all the same
//   subinfo-result N   what the factory returns (0 unless told)
//   no-subinfo         the factory gives no object
//   reader-result N    what the request for a reader returns (0 unless told)
//   no-reader          the request for a reader gives none
//   section N          the nodes that follow belong to this section; a section without nodes has no reader
//   node               starts a node
//   field NAME VALUE   a field of this node; the value is the rest of the line
//
// It writes down when it is loaded and unloaded, and how many references it is then still owed.

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "CBkModuleClnt.h"
#include "IDBR.h"
#include "IDBRField.h"
#include "IDBRNode.h"
#include "ISubInfo.h"
#include "SubscriptionFiles.h"

namespace {

struct FieldText {
    std::string name;
    std::string value;
};
using NodeText = std::vector<FieldText>;

struct Behaviour {
    int gcfResult = 0;
    bool hasFactory = true;
    bool givesThoughFailed = false;
    int subInfoResult = 0;
    bool hasSubInfo = true;
    int readerResult = 0;
    bool hasReader = true;
    std::map<int, std::vector<NodeText>> sections;
};

Behaviour readBehaviour() {
    Behaviour behaviour;
    int section = 0;
    std::ifstream file(subscriptionDataPath);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string word;
        words >> word;
        if (word == "gcf-result")
            words >> behaviour.gcfResult;
        if (word == "no-factory")
            behaviour.hasFactory = false;
        if (word == "objects-though-failed")
            behaviour.givesThoughFailed = true;
        if (word == "subinfo-result")
            words >> behaviour.subInfoResult;
        if (word == "no-subinfo")
            behaviour.hasSubInfo = false;
        if (word == "reader-result")
            words >> behaviour.readerResult;
        if (word == "no-reader")
            behaviour.hasReader = false;
        if (word == "section")
            words >> section;
        if (word == "node")
            behaviour.sections[section].emplace_back();
        if (word == "field") {
            FieldText field;
            words >> field.name >> std::ws;
            std::getline(words, field.value);
            behaviour.sections[section].back().push_back(field);
        }
    }
    return behaviour;
}

int references = 0;

void record(const std::string &line) {
    std::ofstream(subscriptionLogPath, std::ios::app) << line << '\n';
}

__attribute__((constructor)) void recordLoad() {
    record("loaded");
}

__attribute__((destructor)) void recordUnload() {
    record("unloaded, owed " + std::to_string(references));
}

// An interface whose one reference belongs to whoever got the object.
template <typename Interface, typename Object>
class Counted : public Interface {
public:
    Counted() { ++references; }
    Counted(const Counted &) = delete;
    Counted &operator=(const Counted &) = delete;

    void Release() override { delete static_cast<Object *>(this); }

protected:
    ~Counted() { --references; }
};

// Fills all of the buffer when the text is as long or longer, leaving no room for a zero.
void copyInto(const std::string &text, char *buffer, std::size_t length) {
    const std::size_t copied = text.copy(buffer, length);
    std::fill(buffer + copied, buffer + length, '\0');
}

class Field final : public Counted<IDBRField, Field> {
public:
    explicit Field(FieldText text)
        : m_text(std::move(text)) {}
    void GetName(char *buffer, std::size_t length) override { copyInto(m_text.name, buffer, length); }
    void GetValue(char *buffer, std::size_t length) override { copyInto(m_text.value, buffer, length); }

private:
    FieldText m_text;
};

// Walks a list, giving an object for each element.
template <typename Text, typename Object>
class Walk {
public:
    explicit Walk(std::vector<Text> texts)
        : m_texts(std::move(texts)) {}
    Object *first() {
        m_next = 0;
        return next();
    }
    Object *next() { return m_next < m_texts.size() ? new Object(m_texts[m_next++]) : nullptr; }

private:
    std::vector<Text> m_texts;
    std::size_t m_next = 0;
};

class Node final : public Counted<IDBRNode, Node> {
public:
    explicit Node(NodeText text)
        : m_walk(std::move(text)) {}
    IDBRField *FirstField() override { return m_walk.first(); }
    IDBRField *NextField() override { return m_walk.next(); }

private:
    Walk<FieldText, Field> m_walk;
};

class Reader final : public Counted<IDBR, Reader> {
public:
    explicit Reader(std::vector<NodeText> nodes)
        : m_walk(std::move(nodes)) {}
    IDBRNode *FirstNode() override { return m_walk.first(); }
    IDBRNode *NextNode() override { return m_walk.next(); }

private:
    Walk<NodeText, Node> m_walk;
};

class SubInfo final : public Counted<ISubInfo, SubInfo> {
public:
    int GetReader(int section, IDBR **reader) override {
        const Behaviour behaviour = readBehaviour();
        const auto nodes = behaviour.sections.find(section);
        if (nodes == behaviour.sections.end())
            return -1;
        if (behaviour.hasReader)
            *reader = new Reader(nodes->second);
        return behaviour.readerResult;
    }
};

class Factory final : public Counted<IClassFactory, Factory> {
public:
    int CreateObject(const char *key, int interfaceId, void **object) override {
        if (std::string(key) != "brovik/subinfo" || interfaceId != ISubInfo::interfaceId)
            return -1;
        const Behaviour behaviour = readBehaviour();
        if (behaviour.hasSubInfo && (behaviour.subInfoResult >= 0 || behaviour.givesThoughFailed))
            *object = static_cast<ISubInfo *>(new SubInfo);
        return behaviour.subInfoResult;
    }
};

} // namespace

#ifndef WITHOUT_GCF
extern "C" __attribute__((visibility("default"))) int GCF(IClassFactory **factory);

int GCF(IClassFactory **factory) {
    const Behaviour behaviour = readBehaviour();
    if (behaviour.hasFactory && (behaviour.gcfResult == 0 || behaviour.givesThoughFailed))
        *factory = new Factory;
    return behaviour.gcfResult;
}
#endif
