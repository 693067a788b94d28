#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

namespace Orvex::Fuzzing {

/// Tries one input; each target defines it. An exception that leaves it, and a sanitizer's report, are
/// faults.
void tryInput(std::string_view input);

/// Ends the process, so that the input is kept, unless the property holds.
void expect(bool holds, const char* property);

/// Whether a terminal shows the text as it is, on one line: UTF-8 in which nothing is obeyed.
[[nodiscard]] bool isHarmlessLine(std::string_view text);

/// Whether every line of the text is harmless and was begun by this program: none looks like the heading of a
/// message, and every quotation ends on the line that it begins on.
[[nodiscard]] bool isHarmlessRecord(std::string_view text);

/// Puts memory in the place of standard output or standard error while it lives.
class Capture {
  public:
    explicit Capture(std::FILE*& stream);
    ~Capture();
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    /// What was written so far.
    [[nodiscard]] std::string text() const;

  private:
    std::FILE*& stream_;
    std::FILE* original_;
    char* bytes_ = nullptr;
    std::size_t size_ = 0;
};

} // namespace Orvex::Fuzzing
