#include "Outbox/OutboxEntry.h"

#include "Foundation/CharacterSets.h"
#include "Foundation/Enumeration.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/LetterCase.h"
#include "Foundation/PrivateFolder.h"
#include "Foundation/QuotedText.h"
#include "Foundation/RegularFile.h"
#include "Foundation/SystemCalls.h"
#include "Foundation/Time.h"
#include "Foundation/UTF8.h"
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace Orvex {

namespace {

/// Removes the entry that is open as `entry`, with its files. A folder in it is not ours and stays, and so
/// does the entry then.
void removeEntry(const Folder& tmp, const std::string& name, int entry) noexcept {
    forEachName(entry, [&](const char* file) { unlinkat(entry, file, 0); });
    unlinkat(tmp.get(), name.c_str(), AT_REMOVEDIR);
}

/// Removes the entries under `tmp/` whose writers have died. Ignores errors, which must not keep the current
/// message from being sent; the next message tries again.
void clearAbandonedEntries(const Folder& tmp) {
    forEachName(tmp.get(), [&](const char* name) {
        // Entries are named after record UUIDs. Nothing else is ours to remove.
        if (!UUID::parse(name)) {
            return;
        }
        const FileDescriptor entry(openat(tmp.get(), name, openFolder));
        // The lock is also free after the writer has moved the entry to `new/`.
        if (entry.get() >= 0 && flock(entry.get(), LOCK_EX | LOCK_NB) == 0 && tmp.has(name, entry.get())) {
            removeEntry(tmp, name, entry.get());
        }
    });
}

/// An entry that is being written under `tmp/`, locked by this process. The destructor removes it unless it
/// was published.
class UnfinishedEntry {
  public:
    UnfinishedEntry(const Folder& tmp, std::string name)
        : tmp_(tmp), name_(std::move(name)), folder_(make()) {}
    ~UnfinishedEntry() {
        if (!isPublished_) {
            removeEntry(tmp_, name_, folder_.get());
        }
    }
    UnfinishedEntry(const UnfinishedEntry&) = delete;
    UnfinishedEntry& operator=(const UnfinishedEntry&) = delete;

    [[nodiscard]] const Folder& folder() const { return folder_; }

    /// Moves the entry, whose files must be synced, to `target` durably. Returns its folder, still locked.
    Folder publish(const Folder& target) {
        folder_.sync();
        folder_.move(tmp_, target, name_);
        isPublished_ = true;
        try {
            target.sync();
        } catch (const std::exception& error) {
            if (renameat(target.get(), name_.c_str(), tmp_.get(), name_.c_str()) != 0) {
                throw SendingServiceError(std::string(error.what()) +
                                          "; the message may be sent all the same");
            }
            isPublished_ = false;
            throw;
        }
        return std::move(folder_);
    }

  private:
    [[nodiscard]] Folder make() const {
        // Without this lock, another process could take the new entry for an abandoned one before it is
        // locked.
        tmp_.lock();
        clearAbandonedEntries(tmp_);
        checked(mkdirat(tmp_.get(), name_.c_str(), S_IRWXU), "cannot make " + tmp_.pathOf(name_));
        try {
            Folder made(tmp_, name_);
            made.lock();
            tmp_.unlock();
            return made;
        } catch (const std::exception&) {
            unlinkat(tmp_.get(), name_.c_str(), AT_REMOVEDIR);
            throw;
        }
    }

    const Folder& tmp_;
    std::string name_;
    Folder folder_;
    bool isPublished_ = false;
};

void checkHandle(std::string_view handle, const std::string& whose) {
    if (handle.empty()) {
        throw SendingServiceError(whose + " is empty");
    }
    for (std::size_t position = 0; position < handle.size();) {
        const std::optional<char32_t> c = nextCharacter(handle, position);
        if (!c || isControl(*c)) {
            throw SendingServiceError(whose + " " + inQuotes(handle) +
                                      " has a control character, or bytes that are not UTF-8");
        }
    }
}

/// Copies up to `most` bytes from the current offset of `source` through a buffer. Returns their number.
std::uintmax_t copyThroughMemory(int source, int target, std::uintmax_t most, const std::string& path) {
    std::vector<char> buffer(std::size_t{1} << 20U);
    std::uintmax_t copied = 0;
    while (true) {
        const ssize_t size = uninterrupted([&] {
            return read(source, buffer.data(), std::min<std::uintmax_t>(buffer.size(), most - copied));
        });
        if (size < 0) {
            throw FileError("it cannot be read: " + std::generic_category().message(errno));
        }
        if (size == 0) {
            return copied;
        }
        writeAll(target, {buffer.data(), static_cast<std::size_t>(size)}, path);
        copied += static_cast<std::size_t>(size);
    }
}

/// The same inside the kernel, which shares blocks between the files if the file system can.
std::uintmax_t copy(int source, int target, std::uintmax_t most, const std::string& path) {
    constexpr std::uintmax_t mostAtOnce = std::uintmax_t{1} << 30U;
    std::uintmax_t copied = 0;
    while (true) {
        const ssize_t size = uninterrupted([&] {
            return copy_file_range(source, nullptr, target, nullptr, std::min(mostAtOnce, most - copied), 0);
        });
        const bool isImpossible = size < 0 && (errno == EXDEV || errno == EINVAL || errno == ENOSYS ||
                                               errno == EOPNOTSUPP || errno == EPERM);
        if (isImpossible || (size == 0 && copied == 0)) {
            return copied + copyThroughMemory(source, target, most - copied, path);
        }
        if (checked(size, "cannot copy the video to " + path) == 0) {
            return copied;
        }
        copied += static_cast<std::uintmax_t>(size);
    }
}

/// "video" with the original's extension, if that has only a few letters and digits.
std::string videoName(const std::string& originalPath) {
    const std::string extension = std::filesystem::path(originalPath).extension().native();
    constexpr std::size_t longest = 16;
    const bool isOrdinary =
        extension.size() > 1 && extension.size() <= longest &&
        std::all_of(extension.begin() + 1, extension.end(), [](char c) { return isLetter(c) || isDigit(c); });
    return isOrdinary ? "video" + extension : "video";
}

void copyVideo(const RegularFile& video, const Folder& folder, const std::string& name) {
    const FileDescriptor target = folder.makeFile(name);
    const std::uintmax_t size = copy(video.descriptor(), target.get(), video.size(), folder.pathOf(name));
    if (size != video.size() || video.hasChanged()) {
        throw FileError("it changed while it was copied; send it again when it is complete");
    }
    checked(fsync(target.get()), "cannot sync " + folder.pathOf(name));
}

} // namespace

std::vector<JSONMember> OutboxMessage::members() const {
    std::vector<std::string> destinations;
    for (const std::string& handle : request.destinationHandles) {
        destinations.push_back(jsonString(handle));
    }
    return {{"recordUUID", jsonString(request.recordUUID.text())},
            {"sender", jsonString(request.senderHandle)},
            {"destinations", jsonArray(destinations, 1)},
            {"provider", std::to_string(rawValue(request.provider))},
            {"originalURL", jsonString(request.videoURL.text())},
            {"video", jsonString(video)},
            {"size", std::to_string(size)},
            {"created", jsonString(created)}};
}

OutboxEntry putIntoOutbox(const std::filesystem::path& folder, const VideoMessageRequest& request,
                          const std::vector<JSONMember>& transportMembers) {
    checkHandle(request.senderHandle, "cannot send the video message: the sender's handle");
    if (request.destinationHandles.empty()) {
        throw SendingServiceError("cannot send the video message: there is no destination");
    }
    for (const std::string& handle : request.destinationHandles) {
        checkHandle(handle, "cannot send the video message: the destination handle");
    }
    const std::string videoPath = request.videoURL.path();
    try {
        const RegularFile video(videoPath);
        if (video.size() == 0) {
            throw FileError("it is empty");
        }
        makePrivateFolders(folder);
        Folder outbox(folder);
        const Folder tmp = outbox.inner("tmp");
        tmp.refuseUnlessPrivate();
        const Folder published = outbox.inner("new");
        // Even if they existed: the process that made them may have died before it synced them.
        outbox.sync();
        OutboxMessage message{.request = request,
                              .video = videoName(videoPath),
                              .size = video.size(),
                              .created = timestampText(currentTime())};
        UnfinishedEntry entry(tmp, request.recordUUID.text());
        copyVideo(video, entry.folder(), message.video);
        std::vector<JSONMember> members = message.members();
        members.insert(members.end(), transportMembers.begin(), transportMembers.end());
        entry.folder().writeFile("request.json", jsonObject(members) + "\n");
        Folder publishedEntry = entry.publish(published);
        return {std::move(message), std::move(outbox), std::move(publishedEntry)};
    } catch (const FileError& error) {
        throw SendingServiceError("cannot send the video " + inQuotes(videoPath) + ": " + error.what());
    } catch (const std::exception& error) {
        throw SendingServiceError("cannot put the video message into the outbox " +
                                  inQuotes(folder.native()) + ": " + onOneLine(error.what()));
    }
}

} // namespace Orvex
