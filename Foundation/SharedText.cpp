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

/// Pre-charges the reference count for every text that the block could hold, and transfers one reference to
/// each text that is made: making a text takes no atomic operation.
struct SharedText::OpenBlock {
    static constexpr std::uint64_t mostTexts = blockSize / sizeof(Content);

    /// Closes the block at the end of the thread.
    struct Closer {
        ~Closer() { openBlock.close(); }
    };

    void openNext() {
        static thread_local const Closer closer;
        Block* const next = new (::operator new(blockSize)) Block{.referenceCount = mostTexts};
        close();
        *this = {.block = next, .used = sizeof(Block), .texts = 0};
    }

    /// Gives up the references that no text has got.
    void close() noexcept {
        if (block != nullptr) {
            release(block, mostTexts - texts);
        }
        *this = {};
    }

    [[nodiscard]] std::size_t unused() const noexcept { return blockSize - used; }

    Block* block = nullptr;
    std::size_t used = blockSize;
    std::uint64_t texts = 0;
};

constinit thread_local SharedText::OpenBlock SharedText::openBlock;

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
        // A long text gets a block of its own, so that it does not leave much of the open one unused.
        block = new (::operator new(sizeof(Block) + size)) Block{.referenceCount = 1};
    } else {
        if (size > openBlock.unused()) {
            openBlock.openNext();
        }
        block = openBlock.block;
        offset = std::exchange(openBlock.used, openBlock.used + size);
        ++openBlock.texts;
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
