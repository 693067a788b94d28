#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

namespace Orvex::Fuzzing {

/// Tries one input. Each target defines this function. An exception that leaves it is a fault.
void tryInput(std::string_view input);

/// Aborts the process unless the property holds: the fuzzer then keeps the input.
void expect(bool holds, const char* property);

/// True if a terminal shows the text unchanged on one line: valid UTF-8 without control characters.
[[nodiscard]] bool isHarmlessLine(std::string_view text);

/// True if every line is harmless, none looks like the heading of a message, and every quotation ends on the
/// line that it begins on: no input has begun a line.
[[nodiscard]] bool isHarmlessRecord(std::string_view text);

/// Redirects `stdout` or `stderr` to memory while it lives.
class Capture {
  public:
    explicit Capture(std::FILE*& stream);
    ~Capture();
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    /// Returns the text written so far.
    [[nodiscard]] std::string text() const;

  private:
    std::FILE*& stream_;
    std::FILE* original_;
    char* bytes_ = nullptr;
    std::size_t size_ = 0;
};

} // namespace Orvex::Fuzzing
