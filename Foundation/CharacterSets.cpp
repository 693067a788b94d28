#include "Foundation/CharacterSets.h"

#include <algorithm>
#include <array>

namespace Orvex {

namespace {

struct Range {
    char32_t first;
    char32_t last;
};

constexpr std::array whiteSpace = std::to_array<Range>({{0x09, 0x0D},
                                                        {0x20, 0x20},
                                                        {0x85, 0x85},
                                                        {0xA0, 0xA0},
                                                        {0x1680, 0x1680},
                                                        {0x2000, 0x200A},
                                                        {0x2028, 0x2029},
                                                        {0x202F, 0x202F},
                                                        {0x205F, 0x205F},
                                                        {0x3000, 0x3000}});

constexpr std::array bidirectionalControls =
    std::to_array<Range>({{0x061C, 0x061C}, {0x200E, 0x200F}, {0x202A, 0x202E}, {0x2066, 0x2069}});

constexpr std::array variationSelectors =
    std::to_array<Range>({{0x180B, 0x180D}, {0x180F, 0x180F}, {0xFE00, 0xFE0F}, {0xE0100, 0xE01EF}});

constexpr std::array invisibles = std::to_array<Range>({{0x00AD, 0x00AD},
                                                        {0x034F, 0x034F},
                                                        {0x061C, 0x061C},
                                                        {0x115F, 0x1160},
                                                        {0x17B4, 0x17B5},
                                                        {0x180B, 0x180F},
                                                        {0x200B, 0x200F},
                                                        {0x202A, 0x202E},
                                                        {0x2060, 0x206F},
                                                        {0x3164, 0x3164},
                                                        {0xFE00, 0xFE0F},
                                                        {0xFEFF, 0xFEFF},
                                                        {0xFFA0, 0xFFA0},
                                                        {0xFFF0, 0xFFF8},
                                                        {0x1BCA0, 0x1BCA3},
                                                        {0x1D173, 0x1D17A},
                                                        {0xE0000, 0xE0FFF}});

template <class Ranges>
bool isIn(const Ranges& ranges, char32_t c) {
    return std::any_of(ranges.begin(), ranges.end(),
                       [c](const Range& range) { return c >= range.first && c <= range.last; });
}

} // namespace

bool isWhiteSpace(char32_t c) noexcept {
    return isIn(whiteSpace, c);
}

bool isBidirectionalControl(char32_t c) noexcept {
    return isIn(bidirectionalControls, c);
}

bool isVariationSelector(char32_t c) noexcept {
    return isIn(variationSelectors, c);
}

bool isInvisible(char32_t c) noexcept {
    return isIn(invisibles, c);
}

} // namespace Orvex
