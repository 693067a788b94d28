#include "SMTPTransport/MailEntry.h"

#include "Foundation/Enumeration.h"
#include "Foundation/QuotedText.h"
#include "Foundation/RegularFile.h"
#include <algorithm>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Orvex {

namespace {

constexpr std::uintmax_t largestRequest = std::uintmax_t{16} << 20U;

DeliveryState stateNamed(const std::string& name) {
    for (const DeliveryState state : allCases<DeliveryState>()) {
        if (caseName(state) == name) {
            return state;
        }
    }
    throw std::runtime_error("there is no state " + inQuotes(name));
}

std::vector<JSONMember> mailMembers(const std::string& service, const std::string& messageID,
                                    const std::vector<Delivery>& deliveries) {
    std::vector<std::string> objects;
    for (const Delivery& delivery : deliveries) {
        objects.push_back(jsonObject(
            {{"state", jsonString(caseName(delivery.state))}, {"answer", jsonString(delivery.answer)}}, 2));
    }
    return {{"service", jsonString(service)},
            {"messageID", jsonString(messageID)},
            {"deliveries", jsonArray(objects, 1)}};
}

/// Reads `request.json` in an open entry.
MailRequest messageIn(int entry) {
    return MailRequest::parse(
        readWholeFile("/proc/self/fd/" + std::to_string(entry) + "/request.json", largestRequest));
}

} // namespace

std::string MailRequest::text() const {
    std::vector<JSONMember> all = members();
    if (!service.empty()) {
        const std::vector<JSONMember> more = mailMembers(service, messageID, deliveries);
        all.insert(all.end(), more.begin(), more.end());
    }
    return jsonObject(all) + "\n";
}

MailRequest MailRequest::parse(const std::string& text) {
    using Json = nlohmann::json;
    const Json json = Json::parse(text);
    const std::optional<UUID> recordUUID = UUID::parse(json.at("recordUUID").get<std::string>());
    const std::optional<FileURL> videoURL = FileURL::parse(json.at("originalURL").get<std::string>());
    MailRequest message{{.request = {.recordUUID = recordUUID.value(),
                                     .senderHandle = json.at("sender"),
                                     .destinationHandles = json.at("destinations"),
                                     .videoURL = videoURL.value()},
                         .video = json.at("video"),
                         .size = json.at("size"),
                         .created = json.at("created")},
                        json.value("service", ""),
                        json.value("messageID", ""),
                        {}};
    if (message.video.find('/') != std::string::npos) {
        throw std::runtime_error("its video is not in the entry");
    }
    if (!message.service.empty()) {
        for (const Json& delivery : json.at("deliveries")) {
            message.deliveries.push_back({stateNamed(delivery.at("state")), delivery.at("answer")});
        }
        if (message.deliveries.size() != message.request.destinationHandles.size()) {
            throw std::runtime_error("there are not as many deliveries as destinations");
        }
    }
    return message;
}

MailEntry MailEntry::put(const std::filesystem::path& outbox, const VideoMessageRequest& request,
                         const std::string& service, const std::string& messageID) {
    std::vector<Delivery> deliveries(request.destinationHandles.size());
    OutboxEntry entry = putIntoOutbox(outbox, request, mailMembers(service, messageID, deliveries));
    return {{std::move(entry.message), service, messageID, std::move(deliveries)},
            std::move(entry.outbox),
            std::move(entry.folder),
            false};
}

std::optional<MailEntry> MailEntry::open(const Folder& outbox, const std::string& place,
                                         const UUID& recordUUID, bool waits) {
    const std::string name = recordUUID.text();
    try {
        const Folder parent(outbox, place);
        Folder folder(parent, name);
        if (waits) {
            folder.lock();
        } else if (!folder.tryLock()) {
            return std::nullopt;
        }
        // The process that had the lock may have moved the entry.
        if (!parent.has(name, folder.get())) {
            return std::nullopt;
        }
        MailRequest message = messageIn(folder.get());
        if (message.request.recordUUID != recordUUID) {
            throw std::runtime_error(inQuotes(folder.path()) + " holds another message");
        }
        return MailEntry(std::move(message), Folder(outbox.path()), std::move(folder), place == "cur");
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::no_such_file_or_directory) {
            return std::nullopt;
        }
        throw;
    }
}

std::optional<MailEntry> MailEntry::find(const std::filesystem::path& outbox, const UUID& recordUUID) {
    if (!exists(outbox)) {
        return std::nullopt;
    }
    const Folder folder(outbox);
    std::optional<MailEntry> entry = open(folder, "new", recordUUID, true);
    return entry ? std::move(entry) : open(folder, "cur", recordUUID, true);
}

std::optional<MailEntry> MailEntry::openIfFree(const std::filesystem::path& outbox, const UUID& recordUUID) {
    return open(Folder(outbox), "new", recordUUID, false);
}

std::vector<UUID> MailEntry::waiting(const std::filesystem::path& outbox, const std::string& service) {
    std::vector<std::pair<std::string, UUID>> found;
    const FileDescriptor published(::open((outbox / "new").c_str(), openFolder));
    forEachName(published.get(), [&](const char* name) {
        const FileDescriptor entry(openat(published.get(), name, openFolder));
        try {
            const MailRequest each = messageIn(entry.get());
            if (each.service == service) {
                found.emplace_back(each.created, each.request.recordUUID);
            }
        } catch (const std::exception&) {
            // It is being moved away, or is not an entry.
        }
    });
    std::sort(found.begin(), found.end());
    std::vector<UUID> uuids;
    for (const auto& [created, uuid] : found) {
        uuids.push_back(uuid);
    }
    return uuids;
}

bool MailEntry::has(DeliveryState state) const {
    return std::any_of(message.deliveries.begin(), message.deliveries.end(),
                       [state](const Delivery& delivery) { return delivery.state == state; });
}

bool MailEntry::isFor(const VideoMessageRequest& request) const {
    const VideoMessageRequest& own = message.request;
    if (own.senderHandle != request.senderHandle || own.destinationHandles != request.destinationHandles ||
        own.videoURL != request.videoURL) {
        return false;
    }
    const std::optional<RegularFile> asked = RegularFile::openIfExists(request.videoURL.path());
    if (!asked || asked->size() != message.size) {
        return false;
    }
    using Bytes = std::istreambuf_iterator<char>;
    const auto bytesOf = [](int file) {
        std::ifstream bytes("/proc/self/fd/" + std::to_string(file), std::ios::binary);
        // Otherwise a file that cannot be opened would equal an empty one.
        bytes.exceptions(std::ios::failbit);
        return bytes;
    };
    std::ifstream video = bytesOf(asked->descriptor());
    std::ifstream kept = bytesOf(openVideo().get());
    return std::equal(Bytes(video), Bytes(), Bytes(kept), Bytes());
}

FileDescriptor MailEntry::openVideo() const {
    const std::string path = folder_.pathOf(message.video);
    FileDescriptor video(
        checked(openat(folder_.get(), message.video.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC),
                "cannot open " + path));
    struct stat status {};
    checked(fstat(video.get(), &status), "cannot look at " + path);
    if (!S_ISREG(status.st_mode) || message.size == 0 ||
        static_cast<std::uintmax_t>(status.st_size) != message.size) {
        throw std::runtime_error(path + " is not the video that was put into the outbox");
    }
    return video;
}

void MailEntry::save() const {
    const std::string unfinished = "request.json.new";
    // A process that died while it wrote one has left it.
    unlinkat(folder_.get(), unfinished.c_str(), 0);
    folder_.writeFile(unfinished, message.text());
    checked(renameat(folder_.get(), unfinished.c_str(), folder_.get(), "request.json"),
            "cannot replace " + folder_.pathOf("request.json"));
    folder_.sync();
}

void MailEntry::finish() {
    if (isFinished_) {
        return;
    }
    const Folder source(outbox_, "new");
    const Folder target = outbox_.inner("cur");
    outbox_.sync();
    folder_.move(source, target, message.request.recordUUID.text());
    target.sync();
    source.sync();
    isFinished_ = true;
}

} // namespace Orvex
