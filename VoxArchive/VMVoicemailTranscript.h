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

/// A stretch of a voicemail, usually a word.
struct VMVoicemailTranscriptSegment {
    /// The recognised word or words.
    std::optional<std::string> text{};
    /// Offset from the voicemail's beginning.
    std::optional<Seconds> timestamp{};
    /// Length of the stretch.
    std::optional<Seconds> duration{};
    /// From 0 to 1.
    std::optional<double> confidence{};
};

/// The text of a voicemail, as recognised by a machine.
struct VMVoicemailTranscript {
    /// The whole text.
    std::optional<std::string> text{};
    /// Language and region, as in "en_US".
    std::optional<std::string> locale{};
    /// From 0 to 1.
    std::optional<double> confidence{};
    /// In the order of time.
    std::vector<VMVoicemailTranscriptSegment> segments{};

    /// Returns the class name, then one field a line, with segments numbered from 1.
    [[nodiscard]] std::string description() const;
    /// Appends the same to `out`.
    void appendDescription(std::string& out) const;
};

/// Thrown for a transcript that cannot be read. `what()` is one line that names the file and the reason.
class VoxArchiveError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Reads a transcript from a file of at most 16 MiB, a keyed archive in binary or XML form
/// (docs/transcripts.md). The file may come from anyone: reading is limited in time and memory. Ignores
/// unknown keys. No value if the archive's root is nil. Throws `VoxArchiveError`.
[[nodiscard]] std::optional<VMVoicemailTranscript> readTranscript(const FileURL& file);

/// Reads a transcript from the bytes of such a file. Throws `ArchiveError`.
[[nodiscard]] std::optional<VMVoicemailTranscript> decodeTranscript(std::string_view archive);

/// The two forms of a property list.
enum class ArchiveForm { binary, xml };

/// Returns the bytes of a file that `readTranscript` reads. Absent values are left out; without a transcript,
/// the root is nil. Throws `std::invalid_argument` for text that is not UTF-8 or, in XML, has control
/// characters.
[[nodiscard]] std::string encodeTranscript(const std::optional<VMVoicemailTranscript>& transcript,
                                           ArchiveForm form);

} // namespace Orvex
