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

/// Whether a terminal shows the text as it is: UTF-8 in which nothing but the newlines is obeyed.
[[nodiscard]] bool isHarmless(std::string_view text);

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
