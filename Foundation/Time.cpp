#include "Foundation/Time.h"

namespace Orvex {

std::string timestampText(Timestamp moment) {
    const auto text = timestampCharacters(moment);
    return {text.begin(), text.end()};
}

std::array<char, 24> timestampCharacters(Timestamp moment) {
    const auto day = std::chrono::floor<std::chrono::days>(moment);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss time(moment - day);
    std::array text{'Y', 'Y', 'Y', 'Y', '-', 'M', 'M', '-', 'D', 'D', 'T', 'h',
                    'h', ':', 'm', 'm', ':', 's', 's', '.', 'm', 'm', 'm', 'Z'};
    // Fills in digits from the last to the first.
    const auto put = [&text](std::size_t place, std::size_t width, auto number) {
        for (std::size_t digit = place + width; digit-- > place; number /= 10) {
            text[digit] = static_cast<char>('0' + number % 10);
        }
    };
    put(0, 4, int(date.year()));
    put(5, 2, unsigned(date.month()));
    put(8, 2, unsigned(date.day()));
    put(11, 2, time.hours().count());
    put(14, 2, time.minutes().count());
    put(17, 2, time.seconds().count());
    put(20, 3, time.subseconds().count());
    return text;
}

} // namespace Orvex
