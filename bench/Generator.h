#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace Orvex::Bench {

/// The sender of 100 messages in each store of more than 1,000.
inline constexpr const char* rareSender = "rare@example.com";

/// The record UUID of a message by its number, counted from 0. It is the same in every store.
[[nodiscard]] std::string recordUUIDText(std::uint64_t number);

/// The messages 5, 5 + `callDistance` and so on are screened calls of the provider Zelvo: one in ten, but at
/// most 100,000.
[[nodiscard]] std::uint64_t callDistance(std::uint64_t count);

/// Makes a store of `count` messages, the same in each run. One in 1,000 is a screened call of the provider
/// Telephony, one in five a voicemail.
void makeStore(const std::filesystem::path& file, std::uint64_t count);

/// The columns of the generated rows.
inline constexpr const char* columns =
    "record_uuid, voicemail_id, conversation_id, call_uuid, type, provider, mailbox, sender, recipient, "
    "created, "
    "duration, read, sensitive, rtt, transcription, message_file, thumbnail, transcript, sim_id, quality";

/// Writes the same messages as lines for PostgreSQL's COPY into `columns`.
void makeLines(const std::filesystem::path& file, std::uint64_t count);

/// Makes a store of `count` voicemails, and their transcripts, binary archives of 2 KB, in the folder.
void makeVoicemails(const std::filesystem::path& file, const std::filesystem::path& folder,
                    std::uint64_t count);

/// Makes a file of `size` bytes that no file system can compress.
void makeVideo(const std::filesystem::path& file, std::uint64_t size);

} // namespace Orvex::Bench
