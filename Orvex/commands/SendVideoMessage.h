#pragma once

#include "Foundation/FileURL.h"
#include "Orvex/arguments/ParsableArguments.h"
#include "Orvex/store/SendingService.h"
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// The sender or a recipient of a message: a telephone number or an e-mail address.
struct Handle {
    /// The number or the address; never empty.
    std::string text;
};

/// Any word that is not empty.
template <>
struct ArgumentConversion<Handle> {
    static std::optional<Handle> parse(std::string_view word) {
        return word.empty() ? std::nullopt : std::optional(Handle{std::string(word)});
    }
    static std::string text(const Handle& handle) { return handle.text; }
    static ValueSyntax syntax() {
        return {.placeholder = "<handle>", .expected = "a handle such as +15550100 or ann@example.com"};
    }
};

/// Hands a video file to the sending service.
struct SendVideoMessage {
    Option<FileURL> videoURL{{derivedLong}, "The video file to send."};
    Option<Handle> senderHandle{{derivedLong}, "The handle that sends the message."};
    Option<std::vector<Handle>> destinationHandles{{derivedLong}, "The handles to send the message to."};

    Async<void> run();

    /// The request that the options describe, with a random record UUID.
    [[nodiscard]] VideoMessageRequest request() const;

    static const ManualText manual;

    ORVEX_CODING_KEYS(SendVideoMessage, videoURL, senderHandle, destinationHandles)
};
static_assert(AsyncParsableCommand<SendVideoMessage>);

} // namespace Orvex
