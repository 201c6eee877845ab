#include "SubscriptionSection.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <utility>

#include "IDBRField.h"
#include "IDBRNode.h"
#include "ISubInfo.h"

namespace {

constexpr std::size_t textLength = 300;
using Text = std::array<char, textLength>;

std::string textIn(const Text &buffer) {
    return {buffer.begin(), std::find(buffer.begin(), buffer.end(), '\0')};
}

std::string nameOf(IDBRField &field) {
    Text buffer{};
    field.GetName(buffer.data(), buffer.size());
    return textIn(buffer);
}

std::string valueOf(IDBRField &field) {
    Text buffer{};
    field.GetValue(buffer.data(), buffer.size());
    return textIn(buffer);
}

// The value of the node's first field of that name; none when it has no such field.
std::optional<std::string> findField(IDBRNode &node, const std::string &name) {
    for (CIPtr<IDBRField> field(node.FirstField()); field; field.reset(node.NextField())) {
        if (nameOf(*field) == name)
            return valueOf(*field);
    }
    return std::nullopt;
}

} // namespace

SubscriptionSection::SubscriptionSection(ISubInfo &subInfo, int number) {
    if (subInfo.GetReader(number, m_reader.receive()) < 0)
        m_reader.reset();
}

std::string SubscriptionSection::lastValueOf(const std::string &fieldName) {
    std::string value;
    if (!m_reader)
        return value;
    for (CIPtr<IDBRNode> node(m_reader->FirstNode()); node; node.reset(m_reader->NextNode())) {
        if (std::optional<std::string> found = findField(*node, fieldName))
            value = std::move(*found);
    }
    return value;
}
