#pragma once

#include "Foundation/Async.h"
#include "Foundation/UUID.h"
#include "Orvex/model/MessageUpdate.h"
#include "Orvex/model/StoreValues.h"
#include "Orvex/model/StoredMessage.h"
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Orvex {

/// What a store could not do: `what()` is one line that says what was attempted, on what, why it failed and,
/// where that helps, what to do.
class MessageStoreError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Selects the voicemails with any of these identifiers.
struct MessageQuery {
    std::vector<std::int32_t> voicemailIDs;
};

/// A device's message store.
///
/// Every asynchronous operation may throw `MessageStoreError`; one that changes the store does so whole or
/// not at all. A list holds each message once, in the order in which the messages were saved. What a list of
/// identifiers or values names that is not there contributes nothing, and an empty one selects nothing.
class MessageStore {
  public:
    /// Hears a line, such as why the account's status could not be determined.
    using Reporter = std::function<void(const std::string&)>;

    MessageStore() = default;
    virtual ~MessageStore() = default;
    MessageStore(const MessageStore&) = delete;
    MessageStore& operator=(const MessageStore&) = delete;

    /// Chooses who hears what the store has to say besides the results of its operations. A store prints
    /// nothing itself.
    void setReporter(Reporter reporter) { reporter_ = std::move(reporter); }

    virtual Async<bool> isTranscriptionEnabled() = 0;
    virtual Async<std::int64_t> messageCount() = 0;
    /// May be a number without a name in `AccountStatus`. Why it is `couldNotDetermine` is reported.
    virtual Async<AccountStatus> accountStatus() = 0;
    /// A word or phrase for the states from `signedIn` to `temporarilyUnavailable`.
    [[nodiscard]] virtual std::string description(AccountStatus status) const;

    virtual Async<std::vector<StoredMessage>> messages(std::vector<UUID> recordUUIDs) = 0;
    /// Handles are compared with the sender's, byte for byte.
    virtual Async<std::vector<StoredMessage>> messages(std::vector<std::string> handles) = 0;
    /// The messages of any of these providers that are of any of these types.
    virtual Async<std::vector<StoredMessage>> messages(std::vector<MessageProvider> providers,
                                                       std::vector<MessageType> types) = 0;
    /// At most `limit` of the messages that match, without the first `offset`.
    virtual Async<std::vector<StoredMessage>> messages(MessageQuery matching, std::int64_t limit,
                                                       std::int64_t offset) = 0;
    virtual Async<std::vector<StoredMessage>> allMessages() = 0;
    /// The voicemails among the messages of this provider and type.
    virtual Async<std::vector<StoredMessage>> voicemailMessages(MessageProvider provider,
                                                                MessageType type) = 0;

    /// Adds a message: to the inbox, unread, its transcription `notAvailable`, created now; one of provider
    /// `Telephony` and type `audio` is a voicemail and gets the next voicemail identifier. Returns it as it
    /// is stored. A record UUID that the store holds already is an error.
    virtual Async<StoredMessage> saveMessage(StoredMessage message) = 0;
    /// Applies all updates in one transaction. A record UUID that the store does not hold is an error. A
    /// message that becomes a voicemail gets an identifier, one that is none any more loses it.
    virtual Async<void> updateMessage(std::vector<MessageUpdate> updates) = 0;
    /// Removes the messages in one transaction.
    virtual Async<void> deleteMessages(std::vector<UUID> recordUUIDs) = 0;

  protected:
    void report(const std::string& line) const {
        if (reporter_) {
            reporter_(line);
        }
    }

  private:
    Reporter reporter_;
};

} // namespace Orvex
