#include "Outbox/OutboxEntry.h"

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

using Json = nlohmann::ordered_json;

constexpr std::uintmax_t largestRequest = std::uintmax_t{16} << 20U;

DeliveryState stateNamed(const std::string& name) {
    for (const DeliveryState state : allCases<DeliveryState>()) {
        if (caseName(state) == name) {
            return state;
        }
    }
    throw std::runtime_error("there is no state " + inQuotes(name));
}

/// The content of `request.json` in an open entry.
OutboxMessage messageIn(int entry) {
    return OutboxMessage::parse(
        readWholeFile("/proc/self/fd/" + std::to_string(entry) + "/request.json", largestRequest));
}

} // namespace

std::string OutboxMessage::text() const {
    Json json = {{"recordUUID", request.recordUUID.text()},
                 {"sender", request.senderHandle},
                 {"destinations", request.destinationHandles},
                 {"provider", rawValue(request.provider)},
                 {"originalURL", request.videoURL.text()},
                 {"video", video},
                 {"size", size},
                 {"created", created}};
    if (transport) {
        json["service"] = transport->service;
        json["messageID"] = transport->messageID;
        for (const Delivery& delivery : deliveries) {
            json["deliveries"].push_back({{"state", caseName(delivery.state)}, {"answer", delivery.answer}});
        }
    }
    constexpr int indentation = 2;
    return json.dump(indentation) + "\n";
}

void OutboxMessage::write(const Folder& folder, const std::string& name) const {
    const FileDescriptor file = folder.makeFile(name);
    writeAll(file.get(), text(), folder.pathOf(name));
    checked(fsync(file.get()), "cannot sync " + folder.pathOf(name));
}

OutboxMessage OutboxMessage::parse(const std::string& text) {
    const Json json = Json::parse(text);
    const std::optional<UUID> recordUUID = UUID::parse(json.at("recordUUID").get<std::string>());
    const std::optional<FileURL> videoURL = FileURL::parse(json.at("originalURL").get<std::string>());
    OutboxMessage message{.request = {.recordUUID = recordUUID.value(),
                                      .senderHandle = json.at("sender"),
                                      .destinationHandles = json.at("destinations"),
                                      .videoURL = videoURL.value()},
                          .video = json.at("video"),
                          .size = json.at("size"),
                          .created = json.at("created"),
                          .transport = {},
                          .deliveries = {}};
    if (message.video.find('/') != std::string::npos) {
        throw std::runtime_error("the video is elsewhere");
    }
    if (json.contains("service")) {
        message.transport = Transport{json["service"], json.at("messageID")};
        for (const Json& delivery : json.at("deliveries")) {
            message.deliveries.push_back({stateNamed(delivery.at("state")), delivery.at("answer")});
        }
        if (message.deliveries.size() != message.request.destinationHandles.size()) {
            throw std::runtime_error("there are not as many deliveries as destinations");
        }
    }
    return message;
}

std::optional<OutboxEntry> OutboxEntry::open(const Folder& outbox, const std::string& place,
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
        // Whoever had the lock may have moved it.
        if (!parent.has(name, folder.get())) {
            return std::nullopt;
        }
        OutboxMessage message = messageIn(folder.get());
        if (message.request.recordUUID != recordUUID) {
            throw std::runtime_error(inQuotes(folder.path()) + " holds another message");
        }
        return OutboxEntry(Folder(outbox.path()), std::move(folder), std::move(message), place == "cur");
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::no_such_file_or_directory) {
            return std::nullopt;
        }
        throw;
    }
}

std::optional<OutboxEntry> OutboxEntry::find(const std::filesystem::path& outbox, const UUID& recordUUID) {
    if (!exists(outbox)) {
        return std::nullopt;
    }
    const Folder folder(outbox);
    std::optional<OutboxEntry> entry = open(folder, "new", recordUUID, true);
    return entry ? std::move(entry) : open(folder, "cur", recordUUID, true);
}

std::optional<OutboxEntry> OutboxEntry::openIfFree(const std::filesystem::path& outbox,
                                                   const UUID& recordUUID) {
    return open(Folder(outbox), "new", recordUUID, false);
}

std::vector<UUID> OutboxEntry::waiting(const std::filesystem::path& outbox, const std::string& service) {
    std::vector<std::pair<std::string, UUID>> found;
    const FileDescriptor published(::open((outbox / "new").c_str(), openFolder));
    forEachName(published.get(), [&](const char* name) {
        const FileDescriptor entry(openat(published.get(), name, openFolder));
        try {
            const OutboxMessage each = messageIn(entry.get());
            if (each.transport && each.transport->service == service) {
                found.emplace_back(each.created, each.request.recordUUID);
            }
        } catch (const std::exception&) {
            // It is being moved away, or is none of ours.
        }
    });
    std::sort(found.begin(), found.end());
    std::vector<UUID> uuids;
    for (const auto& [created, uuid] : found) {
        uuids.push_back(uuid);
    }
    return uuids;
}

bool OutboxEntry::has(DeliveryState state) const {
    return std::any_of(message.deliveries.begin(), message.deliveries.end(),
                       [state](const Delivery& delivery) { return delivery.state == state; });
}

bool OutboxEntry::isFor(const VideoMessageRequest& request) const {
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
        // One that does not open has no bytes, as the other one may.
        bytes.exceptions(std::ios::failbit);
        return bytes;
    };
    std::ifstream video = bytesOf(asked->descriptor());
    std::ifstream kept = bytesOf(openVideo().get());
    return std::equal(Bytes(video), Bytes(), Bytes(kept), Bytes());
}

FileDescriptor OutboxEntry::openVideo() const {
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

void OutboxEntry::save() const {
    const std::string unfinished = "request.json.new";
    // Who died while writing it has left one.
    unlinkat(folder_.get(), unfinished.c_str(), 0);
    message.write(folder_, unfinished);
    checked(renameat(folder_.get(), unfinished.c_str(), folder_.get(), "request.json"),
            "cannot replace " + folder_.pathOf("request.json"));
    folder_.sync();
}

void OutboxEntry::finish() {
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
