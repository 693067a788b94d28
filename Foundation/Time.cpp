#include "Foundation/Time.h"

#include <algorithm>

namespace Orvex {

namespace {

/// Appends `number` in decimal, with zeros in front up to `width` digits.
void appendPadded(std::string& out, long long number, std::size_t width) {
    const std::string digits = std::to_string(number);
    out.append(width - std::min(width, digits.size()), '0');
    out += digits;
}

} // namespace

std::string timestampText(Timestamp moment) {
    const auto day = std::chrono::floor<std::chrono::days>(moment);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss time(moment - day);
    std::string text;
    appendPadded(text, int(date.year()), 4);
    text += '-';
    appendPadded(text, unsigned(date.month()), 2);
    text += '-';
    appendPadded(text, unsigned(date.day()), 2);
    text += 'T';
    appendPadded(text, time.hours().count(), 2);
    text += ':';
    appendPadded(text, time.minutes().count(), 2);
    text += ':';
    appendPadded(text, time.seconds().count(), 2);
    text += '.';
    appendPadded(text, time.subseconds().count(), 3);
    text += 'Z';
    return text;
}

} // namespace Orvex
