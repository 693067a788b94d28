#include "Foundation/SharedText.h"

#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

namespace Orvex {

namespace {

/// In bytes.
constexpr std::size_t blockSize = std::size_t{1} << 16;

} // namespace

/// The thread owns its block as often as there could be texts in it, and hands an ownership to each text that
/// it makes: that takes no atomic operation.
struct SharedText::Room {
    static constexpr std::uint64_t mostTexts = blockSize / sizeof(Content);

    /// At the end of the thread.
    struct Leaving {
        ~Leaving() { room.leave(); }
    };

    void enterNext() {
        static thread_local const Leaving leaving;
        Block* const next = new (::operator new(blockSize)) Block{.owners = mostTexts};
        leave();
        *this = {.block = next, .used = sizeof(Block), .texts = 0};
    }

    void leave() noexcept {
        if (block != nullptr) {
            release(block, mostTexts - texts);
        }
        *this = {};
    }

    Block* block = nullptr;
    std::size_t used = blockSize;
    std::uint64_t texts = 0;
};

constinit thread_local SharedText::Room SharedText::room;

SharedText::Content* SharedText::made(std::string_view text) {
    if (text.empty()) {
        return nullptr;
    }
    if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error("a text has 4 GiB or more");
    }
    constexpr std::size_t step = alignof(Content);
    const std::size_t size = (sizeof(Content) + text.size() + step - 1) / step * step;
    Block* block = nullptr;
    std::size_t offset = sizeof(Block);
    if (size > blockSize / 8) {
        // In a block of its own, so that not much of another one stays unused.
        block = new (::operator new(sizeof(Block) + size)) Block{.owners = 1};
    } else {
        if (size > blockSize - room.used) {
            room.enterNext();
        }
        block = room.block;
        offset = std::exchange(room.used, room.used + size);
        ++room.texts;
    }
    char* const memory = reinterpret_cast<char*>(block) + offset;
    std::memcpy(memory + sizeof(Content), text.data(), text.size());
    return new (memory) Content{.size = static_cast<std::uint32_t>(text.size()),
                                .offset = static_cast<std::uint32_t>(offset)};
}

void SharedText::destroy(Block* block) noexcept {
    block->~Block();
    ::operator delete(block);
}

} // namespace Orvex
