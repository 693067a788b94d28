#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <string_view>
#include <utility>

namespace Orvex {

/// A text that is never changed, in the size of a pointer. Copies share the characters, whatever thread they
/// are in: records that are held by the million mostly repeat each other's texts.
class SharedText {
  public:
    SharedText() noexcept = default;
    /// Throws `std::length_error` for a text of 4 GiB or more.
    template <std::convertible_to<std::string_view> Text>
    requires(!std::same_as<Text, SharedText>) SharedText(const Text& text) : content_(made(text)) {}
    SharedText(const SharedText& other) noexcept : content_(other.content_) {
        if (content_ != nullptr) {
            content_->owners.fetch_add(1, std::memory_order_relaxed);
        }
    }
    SharedText(SharedText&& other) noexcept : content_(std::exchange(other.content_, nullptr)) {}
    SharedText& operator=(SharedText other) noexcept {
        std::swap(content_, other.content_);
        return *this;
    }
    ~SharedText() {
        if (content_ != nullptr && content_->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            destroy(content_);
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
    /// Stands in front of its characters.
    struct Content {
        std::atomic<std::uint32_t> owners;
        std::uint32_t size;
    };

    static Content* made(std::string_view text);
    static void destroy(Content* content) noexcept;
    [[nodiscard]] const char* characters() const noexcept {
        return reinterpret_cast<const char*>(content_ + 1);
    }

    /// None for the empty text.
    Content* content_ = nullptr;
};

} // namespace Orvex
