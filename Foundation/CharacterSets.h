#pragma once

namespace Orvex {

/// General_Category Cc: C0, DEL and C1.
[[nodiscard]] constexpr bool isControl(char32_t c) noexcept {
    return c < 0x20 || (c >= 0x7F && c < 0xA0);
}

// Sets of the Unicode Character Database, version 15.0.0, as its files PropList.txt and
// DerivedCoreProperties.txt list them. ICU has them too, but would have to be loaded in every run.

/// White_Space.
[[nodiscard]] bool isWhiteSpace(char32_t c) noexcept;

/// Bidi_Control: changes the order in which the characters around it are shown.
[[nodiscard]] bool isBidirectionalControl(char32_t c) noexcept;

/// Variation_Selector: chooses a form of the character in front of it.
[[nodiscard]] bool isVariationSelector(char32_t c) noexcept;

/// Default_Ignorable_Code_Point: shown as nothing, the unassigned ones included that will be so once they are
/// assigned. Has all bidirectional controls and variation selectors.
[[nodiscard]] bool isInvisible(char32_t c) noexcept;

} // namespace Orvex
