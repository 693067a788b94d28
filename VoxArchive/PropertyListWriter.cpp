#include "VoxArchive/PropertyListWriter.h"

#include "Foundation/Number.h"
#include "Foundation/UTF8.h"
#include <algorithm>
#include <bit>
#include <cstdint>
#include <optional>
#include <stdexcept>

namespace Orvex {

namespace {

using Kind = PropertyListKind;

std::u32string characters(std::string_view text) {
    std::u32string characters;
    for (std::size_t position = 0; position < text.size();) {
        const std::optional<char32_t> c = nextCharacter(text, position);
        if (!c) {
            throw std::invalid_argument("a property list cannot hold text that is not UTF-8");
        }
        characters += *c;
    }
    return characters;
}

[[noreturn]] void refuseKind(const PropertyListObject& object) {
    throw std::invalid_argument("cannot write " + std::string(kindName(object.kind)) +
                                " into a property list");
}

void appendBigEndian(std::string& out, std::uint64_t value, std::size_t size) {
    for (std::size_t i = size; i-- > 0;) {
        out += static_cast<char>(value >> (8 * i));
    }
}

/// Returns the number of bytes that hold any number up to `largest`.
std::size_t widthOf(std::uint64_t largest) {
    return largest == 0 ? 1 : (static_cast<std::size_t>(std::bit_width(largest)) + 7) / 8;
}

class BinaryWriter {
  public:
    explicit BinaryWriter(std::size_t objectCount)
        : referenceSize_(widthOf(objectCount)), out_(binaryMagic) {}

    void add(const PropertyListObject& object) {
        offsets_.push_back(out_.size());
        switch (object.kind) {
        case Kind::boolean:
            out_ += object.integer != 0 ? '\x09' : '\x08';
            break;
        case Kind::integer:
            integer(object.integer);
            break;
        case Kind::real:
            out_ += '\x23';
            appendBigEndian(out_, std::bit_cast<std::uint64_t>(object.real), 8);
            break;
        case Kind::date:
            out_ += '\x33';
            appendBigEndian(out_, 0, 8);
            break;
        case Kind::data:
            marker(0x4, 0);
            break;
        case Kind::string:
            string(object.text);
            break;
        case Kind::uid:
            out_ += '\x83';
            appendBigEndian(out_, static_cast<std::uint64_t>(object.integer), 4);
            break;
        case Kind::array:
            marker(0xA, object.elements.size());
            references(object.elements);
            break;
        case Kind::dictionary:
            marker(0xD, object.elements.size());
            references(object.keys);
            references(object.elements);
            break;
        default:
            refuseKind(object);
        }
    }

    std::string finished(std::size_t root) && {
        const std::size_t tableOffset = out_.size();
        const std::size_t offsetSize = widthOf(tableOffset);
        for (const std::size_t offset : offsets_) {
            appendBigEndian(out_, offset, offsetSize);
        }
        out_.append(6, '\0');
        appendBigEndian(out_, offsetSize, 1);
        appendBigEndian(out_, referenceSize_, 1);
        appendBigEndian(out_, offsets_.size(), 8);
        appendBigEndian(out_, root, 8);
        appendBigEndian(out_, tableOffset, 8);
        return std::move(out_);
    }

  private:
    void integer(std::int64_t value) {
        out_ += '\x13';
        appendBigEndian(out_, static_cast<std::uint64_t>(value), 8);
    }

    void marker(unsigned kind, std::size_t count) {
        constexpr std::size_t follows = 0xF;
        out_ += static_cast<char>(kind << 4U | std::min(count, follows));
        if (count >= follows) {
            integer(static_cast<std::int64_t>(count));
        }
    }

    void string(std::string_view text) {
        if (std::all_of(text.begin(), text.end(), isASCII)) {
            marker(0x5, text.size());
            out_ += text;
            return;
        }
        std::string units;
        for (const char32_t c : characters(text)) {
            if (c > 0xFFFF) {
                appendBigEndian(units, 0xD800 + ((c - 0x10000) >> 10U), 2);
                appendBigEndian(units, 0xDC00 + ((c - 0x10000) & 0x3FFU), 2);
            } else {
                appendBigEndian(units, c, 2);
            }
        }
        marker(0x6, units.size() / 2);
        out_ += units;
    }

    void references(std::span<const std::size_t> indices) {
        for (const std::size_t index : indices) {
            appendBigEndian(out_, index, referenceSize_);
        }
    }

    std::size_t referenceSize_;
    std::vector<std::size_t> offsets_;
    std::string out_;
};

std::string xmlText(std::string_view text) {
    std::string escaped;
    for (const char32_t c : characters(text)) {
        const bool isAllowed = (c >= 0x20 && c != 0xFFFE && c != 0xFFFF) || c == U'\t' || c == U'\n';
        if (!isAllowed) {
            throw std::invalid_argument("XML cannot hold control characters");
        }
        switch (c) {
        case U'<':
            escaped += "&lt;";
            break;
        case U'>':
            escaped += "&gt;";
            break;
        case U'&':
            escaped += "&amp;";
            break;
        default:
            appendUTF8(escaped, c);
        }
    }
    return escaped;
}

void appendXML(std::string& out, std::span<const PropertyListObject> objects, std::size_t index) {
    const PropertyListObject& object = objects[index];
    switch (object.kind) {
    case Kind::boolean:
        out += object.integer != 0 ? "<true/>\n" : "<false/>\n";
        break;
    case Kind::integer:
        out += "<integer>" + std::to_string(object.integer) + "</integer>\n";
        break;
    case Kind::real:
        out += "<real>" + shortestText(object.real) + "</real>\n";
        break;
    case Kind::string:
        out += "<string>" + xmlText(object.text) + "</string>\n";
        break;
    case Kind::uid:
        out += "<dict><key>CF$UID</key><integer>" + std::to_string(object.integer) + "</integer></dict>\n";
        break;
    case Kind::array:
        out += "<array>\n";
        for (const std::size_t element : object.elements) {
            appendXML(out, objects, element);
        }
        out += "</array>\n";
        break;
    case Kind::dictionary:
        out += "<dict>\n";
        for (std::size_t i = 0; i < object.keys.size(); ++i) {
            out += "<key>" + xmlText(objects[object.keys[i]].text) + "</key>\n";
            appendXML(out, objects, object.elements[i]);
        }
        out += "</dict>\n";
        break;
    default:
        refuseKind(object);
    }
}

} // namespace

std::string binaryPropertyList(std::span<const PropertyListObject> objects, std::size_t root) {
    BinaryWriter writer(objects.size());
    for (const PropertyListObject& object : objects) {
        writer.add(object);
    }
    return std::move(writer).finished(root);
}

std::string xmlPropertyList(std::span<const PropertyListObject> objects, std::size_t root) {
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n";
    appendXML(out, objects, root);
    return out + "</plist>\n";
}

} // namespace Orvex
