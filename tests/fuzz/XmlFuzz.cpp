// Every operation of the XML document, by an expression of the input's on a document of the input's: the
// expression first, then the names and the value, then the document, each ended by a backslash and another
// character.
#include <algorithm>
#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "LibXmlWrapper.h"
#include "Machine.h"

namespace {

constexpr const char *file = "/tmp/document.xml";
// Documents may name this one; nothing of it may show.
constexpr const char *foreignFile = "/etc/hostname";
const std::string foreignText = "Zc2Q-another-file";

struct Question {
    std::string xpath;
    std::string name;
    std::string value;
    std::string document;
};

// The engine's own expressions are constants, so how long libxml2 takes for other ones is nobody's concern:
// one within the other they multiply.
bool takesForEver(const std::string &xpath) {
    int depth = 0;
    int deepest = 0;
    for (const char character : xpath) {
        if (character == '[' || character == '(')
            deepest = std::max(deepest, ++depth);
        if (character == ']' || character == ')')
            --depth;
    }
    return deepest > 2;
}

// By hash: a text that is compared is one that libFuzzer learns and puts into the next input.
bool holdsForeignText(const std::string &text) {
    const std::hash<std::string_view> hash;
    static const std::size_t wanted = hash(foreignText);
    const std::string_view whole = text;
    for (std::size_t i = 0; i + foreignText.size() <= whole.size(); ++i) {
        if (hash(whole.substr(i, foreignText.size())) == wanted)
            return true;
    }
    return false;
}

void requireOwnText(const std::string &text) {
    require(!holdsForeignText(text), "nothing but the document is read");
}

// As two queries do, by an exception that is no other than this one.
template <typename Read>
bool isRefused(Read read) {
    try {
        static_cast<void>(read());
        return false;
    } catch (const std::exception &refusal) {
        require(typeid(refusal) == typeid(std::exception), "a query that refuses says no more than that");
        return true;
    }
}

void ask(const Question &question, const LibXmlWrapper &document) {
    const std::string &xpath = question.xpath;
    const std::size_t count = document.countNodes(xpath).value_or(0);
    const std::vector<std::string> texts = document.getXPathAllElement(xpath);
    require(texts.size() == count, "every node has a text");
    require(document.isXPathElementExists(xpath) == (count == 1), "to exist is to be there once");
    require(document.getXPathElement(xpath) == (count == 1 ? texts[0] : ""), "one text, of one node only");
    const std::vector<std::string> children =
        document.getXPathAllOptionalElement(xpath, question.name, "none");
    require(children.size() == count, "every node has one entry");
    const std::vector<std::string> values = document.getPropertyValue(xpath, question.name);
    require(values.size() <= count, "no node has two values");
    const std::string value = document.getXPathElementAttribute(xpath, question.name);
    require(count == 1 || value.empty(), "one attribute, of one node only");
    const std::vector<std::string> markup = document.getAllElements(xpath);
    require(markup.size() == count, "every node has a markup");
    for (const std::vector<std::string> &read : {texts, children, values, markup})
        std::for_each(read.begin(), read.end(), requireOwnText);
    requireOwnText(value);
    const bool isEmpty = document.getXPathElement(xpath).empty();
    require(isRefused([&] { return document.getXPathBoolValue(xpath); }) == isEmpty, "no text is no flag");
    require(isRefused([&] { return document.getXPathUnsignedLongValue(xpath); }) || !isEmpty,
            "no text is no number");
    document.PrintChildrenName(document.PrintRootElement());
}

void edit(const Question &question, LibXmlWrapper &document) {
    static_cast<void>(document.AddNewElementNode(question.xpath, question.name, question.value));
    static_cast<void>(document.setXPathElementAttribute(question.xpath, question.name, question.value));
    std::string saved;
    require(document.SaveToMemory(saved), "saving tells no failure");
    requireOwnText(saved);
}

// What is saved must be a document, or the file stays as it is.
void requireDocument(const char *what) {
    require(LibXmlWrapper(file).isXPathElementExists("/*"), what);
}

void editFile(const Question &question) {
    putFile(file, question.document);
    LibXmlWrapper document(file);
    const bool isDocument = document.PrintRootElement() != nullptr;
    static_cast<void>(
        LibXmlWrapper::UpdateNodeWithValue(file, question.xpath.c_str(), question.value.c_str()));
    if (isDocument)
        requireDocument("a document whose nodes were set is one");
    static_cast<void>(document.AddNewNode(question.name, question.value));
    if (isDocument)
        requireDocument("a document with a new node is one");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    putFile(foreignFile, foreignText);
    FuzzedDataProvider input(data, size);
    Question question;
    question.xpath = input.ConsumeRandomLengthString(48);
    question.name = input.ConsumeRandomLengthString(16);
    question.value = input.ConsumeRandomLengthString(64);
    question.document = input.ConsumeRemainingBytesAsString();
    if (takesForEver(question.xpath))
        return 0;
    LibXmlWrapper document(question.document.data(), question.document.size());
    ask(question, document);
    edit(question, document);
    editFile(question);
    return 0;
}
