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
    /// In network order.
    using Bytes = std::array<unsigned char, 16>;

    /// The nil UUID, all bits zero.
    constexpr UUID() noexcept = default;
    /// The UUID of these bytes, whatever its version.
    explicit constexpr UUID(const Bytes& bytes) noexcept : bytes_(bytes) {}

    /// Returns a new UUID of version 4. Throws `std::system_error` if the system has no random numbers.
    [[nodiscard]] static UUID random();

    /// Parses the form of 36 characters, in any letter case. No value for anything else.
    [[nodiscard]] static std::optional<UUID> parse(std::string_view text);

    /// Returns the form of 36 characters in upper case.
    [[nodiscard]] std::string text() const;
    /// Returns the same without allocating.
    [[nodiscard]] std::array<char, 36> characters() const noexcept;

    /// Returns the 16 bytes.
    [[nodiscard]] constexpr const Bytes& bytes() const noexcept { return bytes_; }

    /// Orders by the bytes.
    friend constexpr auto operator<=>(const UUID&, const UUID&) noexcept = default;

  private:
    Bytes bytes_{};
};

} // namespace Orvex
