#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <string_view>
#include <utility>

namespace Orvex {

/// An immutable text in the size of a pointer. Copies share the characters, in any thread: a list of a
/// million records repeats most texts, and allocating each costs time and memory (docs/performance.md, "What
/// helped").
///
/// A thread puts successive texts into blocks of 64 KB, and a block lives as long as any of its texts. To
/// keep a few texts of a long list, copy their characters.
class SharedText {
  public:
    SharedText() noexcept = default;
    /// Throws `std::length_error` for 4 GiB or more.
    template <std::convertible_to<std::string_view> Text>
    requires(!std::same_as<Text, SharedText>) SharedText(const Text& text) : content_(made(text)) {}
    SharedText(const SharedText& other) noexcept : content_(other.content_) {
        if (content_ != nullptr) {
            content_->block()->referenceCount.fetch_add(1, std::memory_order_relaxed);
        }
    }
    SharedText(SharedText&& other) noexcept : content_(std::exchange(other.content_, nullptr)) {}
    SharedText& operator=(SharedText other) noexcept {
        std::swap(content_, other.content_);
        return *this;
    }
    ~SharedText() {
        if (content_ != nullptr) {
            release(content_->block(), 1);
        }
    }

    /// Valid as long as any copy of the text lives.
    operator std::string_view() const noexcept {
        return content_ == nullptr ? std::string_view() : std::string_view(characters(), content_->size);
    }

    /// @{ Compares the bytes.
    friend bool operator==(const SharedText& a, const SharedText& b) noexcept {
        return std::string_view(a) == std::string_view(b);
    }
    template <std::convertible_to<std::string_view> Text>
    requires(!std::same_as<Text, SharedText>) friend bool operator==(const SharedText& a,
                                                                     const Text& b) noexcept {
        return std::string_view(a) == std::string_view(b);
    }
    /// @}

  private:
    /// Precedes its texts in memory.
    struct Block {
        std::atomic<std::uint64_t> referenceCount;
    };

    /// Precedes its characters in a block.
    struct Content {
        [[nodiscard]] Block* block() noexcept {
            return reinterpret_cast<Block*>(reinterpret_cast<char*>(this) - offset);
        }

        std::uint32_t size;
        /// The distance from the start of the block.
        std::uint32_t offset;
    };

    /// The block that a thread fills.
    struct OpenBlock;

    static Content* made(std::string_view text);
    static void release(Block* block, std::uint64_t references) noexcept {
        if (block->referenceCount.fetch_sub(references, std::memory_order_acq_rel) == references) {
            destroy(block);
        }
    }
    static void destroy(Block* block) noexcept;
    [[nodiscard]] const char* characters() const noexcept {
        return reinterpret_cast<const char*>(content_ + 1);
    }

    static thread_local OpenBlock openBlock;

    /// Null for the empty text.
    Content* content_ = nullptr;
};

} // namespace Orvex
