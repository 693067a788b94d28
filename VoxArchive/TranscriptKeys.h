#pragma once

#include <string_view>

/// The classes and keys of an archived transcript.
namespace Orvex::TranscriptKeys {

inline constexpr std::string_view transcriptClass = "VMVoicemailTranscript";
inline constexpr std::string_view segmentClass = "VMVoicemailTranscriptSegment";
inline constexpr std::string_view text = "text";
inline constexpr std::string_view locale = "locale";
inline constexpr std::string_view confidence = "confidence";
inline constexpr std::string_view segments = "segments";
inline constexpr std::string_view timestamp = "timestamp";
inline constexpr std::string_view duration = "duration";

} // namespace Orvex::TranscriptKeys
