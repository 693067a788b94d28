#include "Foundation/Description.h"

#include "Foundation/QuotedText.h"
#include <array>
#include <charconv>

namespace Orvex {

namespace {

/// Appends `number` in decimal, with zeros in front up to `width` digits.
void appendPadded(std::string& out, long long number, std::size_t width) {
    const std::string digits = std::to_string(number);
    out.append(width - std::min(width, digits.size()), '0');
    out += digits;
}

} // namespace

void Description::beginLine(std::string_view name) {
    if (!text_.empty()) {
        text_ += '\n';
    }
    text_ += "  ";
    text_ += name;
    text_ += ": ";
}

void Description::line(std::string_view name, std::string_view value) {
    beginLine(name);
    text_ += value;
}

void Description::field(std::string_view name, std::string_view text) {
    beginLine(name);
    appendQuoted(text_, text);
}

void Description::field(std::string_view name, Seconds duration) {
    // The longest shortest-form double has 24 characters, "-1.7976931348623157e+308" for one.
    std::array<char, 32> digits{};
    const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), duration.count()).ptr;
    line(name, {digits.data(), end});
    text_ += " s";
}

void Description::field(std::string_view name, Timestamp moment) {
    const auto day = std::chrono::floor<std::chrono::days>(moment);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss time(moment - day);
    beginLine(name);
    appendPadded(text_, int(date.year()), 4);
    text_ += '-';
    appendPadded(text_, unsigned(date.month()), 2);
    text_ += '-';
    appendPadded(text_, unsigned(date.day()), 2);
    text_ += 'T';
    appendPadded(text_, time.hours().count(), 2);
    text_ += ':';
    appendPadded(text_, time.minutes().count(), 2);
    text_ += ':';
    appendPadded(text_, time.seconds().count(), 2);
    text_ += '.';
    appendPadded(text_, time.subseconds().count(), 3);
    text_ += 'Z';
}

} // namespace Orvex
