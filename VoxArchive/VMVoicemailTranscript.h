#pragma once

#include "Foundation/Description.h"
#include "Foundation/FileURL.h"
#include "VoxArchive/ArchiveError.h"
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// What was said in a stretch of a voicemail.
struct VMVoicemailTranscriptSegment {
    std::optional<std::string> text{};
    /// Since the voicemail's beginning.
    std::optional<Seconds> timestamp{};
    std::optional<Seconds> duration{};
    /// From 0 to 1.
    std::optional<double> confidence{};
};

/// What was said in a voicemail, as far as it was understood.
struct VMVoicemailTranscript {
    std::optional<std::string> text{};
    /// The identifier of the language, as in "en_US".
    std::optional<std::string> locale{};
    /// From 0 to 1.
    std::optional<double> confidence{};
    std::vector<VMVoicemailTranscriptSegment> segments{};

    /// The class name, then one field a line, the segments numbered from 1.
    [[nodiscard]] std::string description() const;
    /// Adds the same to the end of `out`.
    void appendDescription(std::string& out) const;
};

/// What is wrong with a transcript's file: `what()` is one line that names the file and the fault.
class VoxArchiveError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Reads a transcript from a file with a keyed archive (see `KeyedUnarchiver`), binary or XML, of at most 16
/// MiB, which may have been made by anyone. Unknown keys are ignored. No value when the archive's root is
/// nil. Throws `VoxArchiveError`.
[[nodiscard]] std::optional<VMVoicemailTranscript> readTranscript(const FileURL& file);

/// The same from the bytes of such a file. Throws `ArchiveError`.
[[nodiscard]] std::optional<VMVoicemailTranscript> decodeTranscript(std::string_view archive);

enum class ArchiveForm { binary, xml };

/// The bytes of a file that `readTranscript` reads; absent values are left out, no transcript is a nil root.
/// Throws `std::invalid_argument` for text that is no UTF-8 or, in XML, has control characters, which XML
/// cannot hold.
[[nodiscard]] std::string encodeTranscript(const std::optional<VMVoicemailTranscript>& transcript,
                                           ArchiveForm form);

} // namespace Orvex
