#include "Foundation/SharedText.h"

#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

namespace Orvex {

SharedText::Content* SharedText::made(std::string_view text) {
    if (text.empty()) {
        return nullptr;
    }
    if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error("a text has 4 GiB or more");
    }
    void* const memory = ::operator new(sizeof(Content) + text.size());
    std::memcpy(static_cast<char*>(memory) + sizeof(Content), text.data(), text.size());
    return new (memory) Content{.owners = 1, .size = static_cast<std::uint32_t>(text.size())};
}

void SharedText::destroy(Content* content) noexcept {
    content->~Content();
    ::operator delete(content);
}

} // namespace Orvex
