#pragma once

namespace Orvex {

// Sets of the Unicode Character Database, version 15.0.0 (PropList.txt, DerivedCoreProperties.txt). ICU has
// them, too, but most runs do not load it.

/// General_Category Cc: C0, DEL and C1.
[[nodiscard]] constexpr bool isControl(char32_t c) noexcept {
    return c < 0x20 || (c >= 0x7F && c < 0xA0);
}

/// White_Space.
[[nodiscard]] bool isWhiteSpace(char32_t c) noexcept;

/// Bidi_Control: changes the order in which neighbouring characters are shown.
[[nodiscard]] bool isBidirectionalControl(char32_t c) noexcept;

/// Variation_Selector: selects a form of the preceding character.
[[nodiscard]] bool isVariationSelector(char32_t c) noexcept;

/// Default_Ignorable_Code_Point: invisible, including code points reserved for such characters. Contains all
/// bidirectional controls and variation selectors.
[[nodiscard]] bool isInvisible(char32_t c) noexcept;

} // namespace Orvex
