#pragma once

#include <atomic>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace Orvex {

/// A text that is never changed, in the size of a pointer. Copies share the characters, whatever thread they
/// are in: records that are held by the million mostly repeat each other's texts.
///
/// Texts that a thread makes one after another lie in one block of memory, 64 KB that stay as long as any of
/// them: a program that keeps a few texts of long lists should keep their characters instead.
class SharedText {
  public:
    SharedText() noexcept = default;
    /// Throws `std::length_error` for a text of 4 GiB or more.
    template <std::convertible_to<std::string_view> Text>
    requires(!std::same_as<Text, SharedText>) SharedText(const Text& text) : content_(made(text)) {}
    SharedText(const SharedText& other) noexcept : content_(other.content_) {
        if (content_ != nullptr) {
            content_->block()->owners.fetch_add(1, std::memory_order_relaxed);
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

    /// The view lives as long as any copy of the text.
    operator std::string_view() const noexcept {
        return content_ == nullptr ? std::string_view() : std::string_view(characters(), content_->size);
    }

    friend bool operator==(const SharedText& a, const SharedText& b) noexcept {
        return std::string_view(a) == std::string_view(b);
    }
    template <std::convertible_to<std::string_view> Text>
    requires(!std::same_as<Text, SharedText>) friend bool operator==(const SharedText& a,
                                                                     const Text& b) noexcept {
        return std::string_view(a) == std::string_view(b);
    }

  private:
    /// Stands in front of its texts.
    struct Block {
        std::atomic<std::uint64_t> owners;
    };

    /// Stands in front of its characters, in a block.
    struct Content {
        [[nodiscard]] Block* block() noexcept {
            return reinterpret_cast<Block*>(reinterpret_cast<char*>(this) - offset);
        }

        std::uint32_t size;
        /// From the block.
        std::uint32_t offset;
    };

    /// Where a thread puts its next texts.
    struct Room;

    static Content* made(std::string_view text);
    /// Takes owners away; the block goes with the last one.
    static void release(Block* block, std::uint64_t owners) noexcept {
        if (block->owners.fetch_sub(owners, std::memory_order_acq_rel) == owners) {
            destroy(block);
        }
    }
    static void destroy(Block* block) noexcept;
    [[nodiscard]] const char* characters() const noexcept {
        return reinterpret_cast<const char*>(content_ + 1);
    }

    static thread_local Room room;

    /// None for the empty text.
    Content* content_ = nullptr;
};

} // namespace Orvex
