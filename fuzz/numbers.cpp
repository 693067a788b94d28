#include "Fuzzing.h"
#include "Orvex/Prompts.h"
#include <algorithm>
#include <string>

namespace Orvex::Fuzzing {

/// The input is the answer to a prompt for numbers.
void tryInput(std::string_view input) {
    const std::vector<std::int64_t> numbers = numbersIn(input);
    expect(std::ssize(numbers) <= std::count(input.begin(), input.end(), ',') + 1,
           "there is at most one number between two commas");
    std::string line;
    for (const std::int64_t number : numbers) {
        line += std::to_string(number) + ",";
        expect(numbersIn("x, \u00a0\t" + std::to_string(number) + "\ufeff\r") == std::vector{number},
               "white space around a number does not matter");
    }
    expect(numbersIn(line) == numbers, "numbers are read in the order typed");
}

} // namespace Orvex::Fuzzing
