#include <cmath>
#include <cstdint>
#include <expected>
#include <memory>
#include <string>
#include <variant>

#include "platform/plist/PlistCodecInternal.h"

namespace parvel::platform::plist {
namespace {

using XmlBuffer = std::unique_ptr<char, BufferDeleter<plist_to_xml_free>>;

Result<Node> buildNode(const PlistValue& value, std::size_t level);

// XML goes through libplist's tree: each value becomes a node, and the tree is serialised whole.
class NodeBuilder {
  public:
    explicit NodeBuilder(std::size_t level) : level_(level) {}

    Result<Node> operator()(bool flag) const {
        return Node(plist_new_bool(static_cast<std::uint8_t>(flag)));
    }
    // A negative number goes in as its two's complement: libplist writes it as a signed 8-byte
    // binary integer and as "-5" in XML, which every reader takes back as negative.
    Result<Node> operator()(std::int64_t number) const {
        return Node(plist_new_uint(static_cast<std::uint64_t>(number)));
    }
    Result<Node> operator()(double number) const { return Node(plist_new_real(number)); }
    Result<Node> operator()(const std::string& text) const {
        if (!isStorableText(text)) {
            return failure(PlistErrorCode::Unsupported);
        }
        return Node(plist_new_string(text.c_str()));
    }
    Result<Node> operator()(PlistDate date) const {
        // XML holds whole seconds, and libplist would truncate toward 2001, putting a date
        // before 2001 a second late; the calendar second is the one the date falls in.
        date.secondsSinceReferenceDate = std::floor(date.secondsSinceReferenceDate);
        const auto parts = splitDate(date);
        if (!parts) {
            return failure(PlistErrorCode::Unsupported);
        }
        return Node(plist_new_date(parts->seconds, parts->microseconds));
    }
    Result<Node> operator()(const Bytes& data) const {
        return Node(plist_new_data(reinterpret_cast<const char*>(data.data()), data.size()));
    }
    Result<Node> operator()(const PlistArray& array) const {
        Node node(plist_new_array());
        for (const auto& element : array) {
            auto child = buildNode(element, level_ + 1);
            if (!child) {
                return child;
            }
            plist_array_append_item(node.get(), child->release());
        }
        return node;
    }
    Result<Node> operator()(const PlistDictionary& dictionary) const {
        Node node(plist_new_dict());
        for (const auto& [key, element] : dictionary) {
            if (!isStorableText(key)) {
                return failure(PlistErrorCode::Unsupported);
            }
            auto child = buildNode(element, level_ + 1);
            if (!child) {
                return child;
            }
            plist_dict_set_item(node.get(), key.c_str(), child->release());
        }
        return node;
    }

  private:
    std::size_t level_;
};

Result<Node> buildNode(const PlistValue& value, std::size_t level) {
    if (level > kMaxPlistDepth) {
        return failure(PlistErrorCode::TooComplex);
    }
    return std::visit(NodeBuilder(level), value.storage());
}

template <typename Buffer>
Result<Bytes> takeBuffer(char* buffer, std::uint32_t length) {
    const Buffer owned(buffer);
    if (!owned) {
        return failure(PlistErrorCode::Unsupported);
    }
    const ByteSpan bytes = asBytes(owned.get(), length);
    return Bytes(bytes.begin(), bytes.end());
}

Result<Bytes> serializeXml(const Result<Node>& node) {
    if (!node) {
        return std::unexpected(node.error());
    }
    char* buffer = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(node->get(), &buffer, &length);
    return takeBuffer<XmlBuffer>(buffer, length);
}

}  // namespace

Result<Bytes> encodeXml(const PlistValue& root) {
    return serializeXml(buildNode(root, 1));
}

Result<Bytes> encodeXml(const PlistDictionary& root) {
    return serializeXml(NodeBuilder(1)(root));
}

}  // namespace parvel::platform::plist
