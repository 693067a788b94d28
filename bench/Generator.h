#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace Orvex::Bench {

/// The sender of a hundred messages of every store with more than a thousand.
inline constexpr const char* rareSender = "rare@example.com";

/// The record UUID of the message of this number, counted from 0, in every store that is made here.
[[nodiscard]] std::string recordUUIDText(std::uint64_t number);

/// Makes a store of `count` messages, the same in each run. One in a thousand is a screened call of the
/// telephone, one in ten a screened call of the other provider, one in five a voicemail.
void makeStore(const std::filesystem::path& file, std::uint64_t count);

/// Makes a store of `count` voicemails, whose transcripts, binary archives of 2 KB, lie in the folder.
void makeVoicemails(const std::filesystem::path& file, const std::filesystem::path& folder,
                    std::uint64_t count);

/// Makes a file of so many bytes that no file system can shrink.
void makeVideo(const std::filesystem::path& file, std::uint64_t size);

} // namespace Orvex::Bench
