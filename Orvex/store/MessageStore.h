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

/// The error of a store's operation. `what()` is one line: the attempted operation, the store, the cause, and
/// a remedy if there is one.
class MessageStoreError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Selects the voicemails with any of these identifiers.
struct MessageQuery {
    /// In any order; repetitions count once.
    std::vector<std::int32_t> voicemailIDs;
};

/// A device's message store.
///
/// Every asynchronous operation may throw `MessageStoreError`; a change takes effect as a whole or not at
/// all. A returned list holds each message once, in the order in which the messages were saved. Identifiers
/// and values that no message has are ignored, and an empty list of them selects nothing.
class MessageStore {
  public:
    /// Gets a line, such as the reason why the account's status could not be determined.
    using Reporter = std::function<void(const std::string&)>;

    MessageStore() = default;
    virtual ~MessageStore() = default;
    MessageStore(const MessageStore&) = delete;
    MessageStore& operator=(const MessageStore&) = delete;

    /// Sets the receiver of the store's messages to people. A store prints nothing itself.
    void setReporter(Reporter reporter) { reporter_ = std::move(reporter); }

    /// True if the device transcribes voicemails.
    virtual Async<bool> isTranscriptionEnabled() = 0;
    /// The number of all messages, those in the trash included.
    virtual Async<std::int64_t> messageCount() = 0;
    /// The state of the cloud account. May be a number without a name in `AccountStatus`. The store reports
    /// the reason for `couldNotDetermine`.
    virtual Async<AccountStatus> accountStatus() = 0;
    /// A phrase for a state; commands use it for those from `signedIn` to `temporarilyUnavailable`.
    [[nodiscard]] virtual std::string description(AccountStatus status) const;

    /// The messages with these record UUIDs.
    virtual Async<std::vector<StoredMessage>> messages(std::vector<UUID> recordUUIDs) = 0;
    /// The messages of these senders. Compares the handles with the senders' byte by byte.
    virtual Async<std::vector<StoredMessage>> messages(std::vector<std::string> handles) = 0;
    /// The messages that have one of these providers and one of these types.
    virtual Async<std::vector<StoredMessage>> messages(std::vector<MessageProvider> providers,
                                                       std::vector<MessageType> types) = 0;
    /// Skips the first `offset` messages that match, and returns the next `limit` at most.
    virtual Async<std::vector<StoredMessage>> messages(MessageQuery matching, std::int64_t limit,
                                                       std::int64_t offset) = 0;
    /// Every message, those in the trash included.
    virtual Async<std::vector<StoredMessage>> allMessages() = 0;
    /// The voicemails of this provider and type.
    virtual Async<std::vector<StoredMessage>> voicemailMessages(MessageProvider provider,
                                                                MessageType type) = 0;

    /// Adds a message to the inbox: unread, its transcription `notAvailable`, created now. A message of
    /// provider `Telephony` and type `audio` is a voicemail and gets the next voicemail identifier. Returns
    /// the message as stored. Throws if the store holds its record UUID already.
    virtual Async<StoredMessage> saveMessage(StoredMessage message) = 0;
    /// Applies all updates in one transaction. Throws if the store does not hold a record UUID. A message
    /// that becomes a voicemail gets an identifier; one that ceases to be a voicemail loses it.
    virtual Async<void> updateMessage(std::vector<MessageUpdate> updates) = 0;
    /// Removes the messages in one transaction.
    virtual Async<void> deleteMessages(std::vector<UUID> recordUUIDs) = 0;

  protected:
    /// Passes a line on to the reporter, if there is one.
    void report(const std::string& line) const {
        if (reporter_) {
            reporter_(line);
        }
    }

  private:
    Reporter reporter_;
};

} // namespace Orvex
