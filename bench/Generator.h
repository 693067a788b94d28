#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace Orvex::Bench {

/// The sender of a hundred messages of every store with more than a thousand.
inline constexpr const char* rareSender = "rare@example.com";

/// The record UUID of the message of this number, counted from 0, in every store that is made here.
[[nodiscard]] std::string recordUUIDText(std::uint64_t number);

/// The messages of these numbers, 5, 5 + `callDistance`, and so on, are screened calls of the other provider:
/// one in ten, of more than a million 100,000.
[[nodiscard]] std::uint64_t callDistance(std::uint64_t count);

/// Makes a store of `count` messages, the same in each run. One in a thousand is a screened call of the
/// telephone, one in five a voicemail.
void makeStore(const std::filesystem::path& file, std::uint64_t count);

/// The columns that are filled.
inline constexpr const char* columns =
    "record_uuid, voicemail_id, conversation_id, call_uuid, type, provider, mailbox, sender, recipient, "
    "created, "
    "duration, read, sensitive, rtt, transcription, message_file, thumbnail, transcript, sim_id, quality";

/// Writes the `columns` of the same messages as lines for PostgreSQL's COPY.
void makeLines(const std::filesystem::path& file, std::uint64_t count);

/// Makes a store of `count` voicemails, whose transcripts, binary archives of 2 KB, lie in the folder.
void makeVoicemails(const std::filesystem::path& file, const std::filesystem::path& folder,
                    std::uint64_t count);

/// Makes a file of so many bytes that no file system can shrink.
void makeVideo(const std::filesystem::path& file, std::uint64_t size);

} // namespace Orvex::Bench
