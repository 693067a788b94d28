#pragma once

#include <array>
#include <compare>
#include <optional>
#include <string>
#include <string_view>

namespace Orvex {

/// A universally unique identifier (RFC 9562): 16 bytes in network order.
class UUID {
  public:
    using Bytes = std::array<unsigned char, 16>;

    /// The nil UUID, all bits zero.
    constexpr UUID() noexcept = default;
    explicit constexpr UUID(const Bytes& bytes) noexcept : bytes_(bytes) {}

    /// A new version 4 UUID from the system's random source.
    [[nodiscard]] static UUID random();

    /// Reads the 36-character form, in either letter case; anything else, white space included, is no UUID.
    [[nodiscard]] static std::optional<UUID> parse(std::string_view text);

    /// The 36-character form in upper case.
    [[nodiscard]] std::string text() const;
    void appendText(std::string& out) const;

    [[nodiscard]] constexpr const Bytes& bytes() const noexcept { return bytes_; }

    friend constexpr auto operator<=>(const UUID&, const UUID&) noexcept = default;

  private:
    Bytes bytes_{};
};

} // namespace Orvex
