#include "VoxArchive/BinaryFromXML.h"

#include "Foundation/Number.h"
#include "Foundation/QuotedText.h"
#include "VoxArchive/ArchiveError.h"
#include "VoxArchive/PropertyListWriter.h"
#include <algorithm>
#include <array>
#include <exception>
#include <expat.h>
#include <limits>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace Orvex {

namespace {

using Kind = PropertyListKind;

/// Builds the table of a property list from Expat's events.
class XMLReader {
  public:
    explicit XMLReader(std::string_view bytes) {
        const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(XML_ParserCreate(nullptr),
                                                                                  &XML_ParserFree);
        if (!parser) {
            throw std::bad_alloc();
        }
        parser_ = parser.get();
        XML_SetUserData(parser_, this);
        XML_SetElementHandler(
            parser_,
            [](void* self, const char* name, const char** attributes) {
                guarded(self, [=](XMLReader& list) { list.begin(name, *attributes != nullptr); });
            },
            [](void* self, const char*) { guarded(self, [](XMLReader& list) { list.end(); }); });
        XML_SetCharacterDataHandler(parser_, [](void* self, const char* text, int size) {
            guarded(self, [text, size](XMLReader& list) {
                if (list.isLeaf_) {
                    list.text_.append(text, static_cast<std::size_t>(size));
                }
            });
        });
        // Called before the first declaration of the internal subset is read.
        XML_SetStartDoctypeDeclHandler(
            parser_, [](void* self, const char*, const char*, const char*, int hasInternalSubset) {
                guarded(self, [=](XMLReader& list) {
                    if (hasInternalSubset != 0) {
                        list.fail("its <!DOCTYPE> has declarations of its own");
                    }
                });
            });
        XML_SetSkippedEntityHandler(parser_, [](void* self, const char* name, int) {
            guarded(self, [=](XMLReader& list) {
                list.fail("it refers to an unknown entity " + excerptInQuotes(name));
            });
        });
        parse(bytes);
        if (objects_.empty()) {
            throw ArchiveError("it is not a property list: its <plist> is empty");
        }
    }

    /// The root comes first.
    [[nodiscard]] const std::vector<PropertyListObject>& objects() const noexcept { return objects_; }

  private:
    static constexpr std::size_t deepest = 64;
    static constexpr std::size_t mostObjects = 1'000'000;
    static constexpr std::size_t pieceSize = std::size_t{1} << 16U;

    /// Exceptions must not cross Expat, which is C: remembers the first one and stops the parser.
    template <class Handler>
    static void guarded(void* self, Handler handler) {
        auto& list = *static_cast<XMLReader*>(self);
        if (list.failure_) {
            return;
        }
        try {
            handler(list);
        } catch (...) {
            list.failure_ = std::current_exception();
            XML_StopParser(list.parser_, XML_FALSE);
        }
    }

    /// Feeds Expat in pieces, and refuses a tag or comment that does not end within a piece: Expat would need
    /// seconds for a tag with millions of attributes, and memory for each.
    void parse(std::string_view bytes) {
        for (std::size_t fed = 0; fed < bytes.size();) {
            const std::string_view piece = bytes.substr(fed, pieceSize);
            fed += piece.size();
            const int isLast = fed == bytes.size() ? 1 : 0;
            const bool isWellFormed =
                XML_Parse(parser_, piece.data(), static_cast<int>(piece.size()), isLast) == XML_STATUS_OK;
            if (failure_) {
                std::rethrow_exception(failure_);
            }
            if (!isWellFormed) {
                fail(XML_ErrorString(XML_GetErrorCode(parser_)));
            }
            // Negative if Expat has not looked at the piece yet.
            const auto parsed = XML_GetCurrentByteIndex(parser_);
            if (isLast == 0 && parsed >= 0 && fed - static_cast<std::size_t>(parsed) > pieceSize) {
                fail("a tag, a comment or the like has more than " + std::to_string(pieceSize) + " bytes");
            }
        }
    }

    [[noreturn]] void fail(const std::string& fault) const {
        throw ArchiveError("it is not a property list: line " +
                           std::to_string(XML_GetCurrentLineNumber(parser_)) + ": " + fault);
    }

    void begin(std::string_view name, bool hasAttributes) {
        if (isLeaf_) {
            fail("there is an element inside a value");
        }
        if (++depth_ > deepest) {
            fail("its elements are nested more than " + std::to_string(deepest) + " deep");
        }
        if (depth_ == 1) {
            if (name != "plist") {
                fail("it begins with " + excerptInQuotes(name) + ", not with \"plist\"");
            }
            return;
        }
        if (hasAttributes) {
            fail("its element " + excerptInQuotes(name) + " has an attribute");
        }
        constexpr std::array<std::pair<std::string_view, Kind>, 10> elements = {{{"dict", Kind::dictionary},
                                                                                 {"array", Kind::array},
                                                                                 {"key", Kind::string},
                                                                                 {"string", Kind::string},
                                                                                 {"integer", Kind::integer},
                                                                                 {"real", Kind::real},
                                                                                 {"true", Kind::boolean},
                                                                                 {"false", Kind::boolean},
                                                                                 {"date", Kind::date},
                                                                                 {"data", Kind::data}}};
        const auto* const found = std::find_if(elements.begin(), elements.end(),
                                               [&](const auto& element) { return element.first == name; });
        if (found == elements.end()) {
            fail("it has an unknown element " + excerptInQuotes(name));
        }
        isLeaf_ = found->second != Kind::dictionary && found->second != Kind::array;
        open_.push_back(add({.kind = found->second, .integer = name == "true" ? 1 : 0}, name == "key"));
    }

    /// Adds an object to the innermost open one, or as the root. Returns its index.
    std::size_t add(PropertyListObject object, bool isKey) {
        const std::size_t index = objects_.size();
        if (index == mostObjects) {
            fail("it has more than " + std::to_string(mostObjects) + " objects");
        }
        if (open_.empty()) {
            if (index > 0 || isKey) {
                fail("<plist> holds more than one value");
            }
        } else {
            PropertyListObject& parent = objects_[open_.back()];
            const bool expectsKey =
                parent.kind == Kind::dictionary && parent.keys.size() == parent.elements.size();
            if (isKey != expectsKey) {
                fail(isKey ? "there is a key where a value belongs" : "there is a value where a key belongs");
            }
            (isKey ? parent.keys : parent.elements).push_back(index);
        }
        objects_.push_back(std::move(object));
        return index;
    }

    void end() {
        if (--depth_ == 0) {
            return;
        }
        PropertyListObject& object = objects_[open_.back()];
        open_.pop_back();
        if (isLeaf_) {
            isLeaf_ = false;
            setValue(object, std::exchange(text_, ""));
        } else if (object.kind == Kind::dictionary) {
            if (object.keys.size() != object.elements.size()) {
                fail("there is a key without a value");
            }
            becomeUIDIfOne(object);
        }
    }

    void setValue(PropertyListObject& object, std::string text) const {
        if (object.kind == Kind::string) {
            object.text = std::move(text);
        } else if (object.kind == Kind::integer) {
            const auto integer = parseNumber<std::int64_t>(text);
            if (!integer) {
                fail(excerptInQuotes(text) + " is not an integer");
            }
            object.integer = *integer;
        } else if (object.kind == Kind::real) {
            const auto real = parseNumber<double>(text);
            if (!real) {
                fail(excerptInQuotes(text) + " is not a real number");
            }
            object.real = *real;
        }
    }

    /// XML writes a UID as a dictionary with the only key "CF$UID".
    void becomeUIDIfOne(PropertyListObject& dictionary) const {
        if (dictionary.keys.size() != 1 || objects_[dictionary.keys.front()].text != "CF$UID") {
            return;
        }
        const PropertyListObject& value = objects_[dictionary.elements.front()];
        if (value.kind != Kind::integer || value.integer < 0 ||
            value.integer > std::numeric_limits<std::uint32_t>::max()) {
            fail("a UID is not an integer of 32 bits");
        }
        dictionary = {.kind = Kind::uid, .integer = value.integer};
    }

    XML_Parser parser_ = nullptr;
    std::exception_ptr failure_;
    std::vector<PropertyListObject> objects_;
    /// Indices of the objects around the current position.
    std::vector<std::size_t> open_;
    std::size_t depth_ = 0;
    bool isLeaf_ = false;
    std::string text_;
};

} // namespace

std::string binaryFromXML(std::string_view bytes) {
    return binaryPropertyList(XMLReader(bytes).objects(), 0);
}

} // namespace Orvex
