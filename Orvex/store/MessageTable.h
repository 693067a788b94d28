#pragma once

#include "Foundation/Enumeration.h"
#include "Foundation/QuotedText.h"
#include "Foundation/Time.h"
#include "Orvex/model/MessageUpdate.h"
#include "Orvex/model/StoredMessage.h"
#include <algorithm>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What the stores that keep their messages in SQL tables have in common, whatever the engine. Parameters are
/// written `?1`. Faults are `std::runtime_error`s that do not say what was attempted on which store.
namespace Orvex {

/// The columns of a message, in the order in which `StoredMessage` declares its values.
inline constexpr std::string_view messageColumns =
    "conversation_id, message_file, thumbnail, type, transcript, sender, provider, duration, sensitive, "
    "recipient, rtt, sim_id, quality, record_uuid, voicemail_id, call_uuid, mailbox, read, transcription, "
    "created";

/// A row that cannot be read as a message, and why not.
class DamagedMessage : public std::runtime_error {
  public:
    DamagedMessage(const std::string& fault, std::string condition)
        : std::runtime_error(fault), condition_(std::move(condition)) {}

    /// The condition of an SQL statement that the row alone meets.
    [[nodiscard]] const std::string& condition() const noexcept { return condition_; }

  private:
    std::string condition_;
};

/// Changes no row when there is a message with the same record UUID.
[[nodiscard]] std::string insertMessage();

/// Hands the parameters of `insertMessage()` to `use`.
template <class Use>
auto withValues(const StoredMessage& message, Use use) {
    return use(message.conversationID, message.messageFile, message.thumbnail, message.type,
               message.transcriptURL, message.from, message.provider, message.duration, message.sensitive,
               message.recipient, message.isRTT, message.simID, message.quality, message.recordUUID,
               message.voicemailID, message.callUUID, message.mailbox, message.read, message.transcription,
               message.created);
}

[[nodiscard]] std::string_view updateMessageRow() noexcept;

/// Hands the parameters of `updateMessageRow()` to `use`.
template <class Use>
auto withValues(const MessageUpdate& update, std::optional<std::int32_t> newVoicemailID, Use use) {
    return use(update.recordUUID, update.callUUID, update.conversationID, update.from, update.provider,
               update.read, update.duration, update.mailbox, update.recipient, update.transcription,
               update.isRTT, update.transcriptURL, update.simID, update.undelete, newVoicemailID);
}

/// Finds a row if the message with the record UUID `?1` becomes a voicemail with the provider Telephony.
inline constexpr std::string_view findNewVoicemail =
    "SELECT id FROM messages WHERE record_uuid = ?1 AND type = 1 AND voicemail_id IS NULL";

/// Yields the next voicemail identifier.
inline constexpr std::string_view takeVoicemailID =
    "UPDATE settings SET value = value + 1 WHERE name = 'lastVoicemailID' AND value BETWEEN 0 AND 2147483646 "
    "RETURNING value";

/// Why no message can have the identifier that was taken, when another one has it.
inline constexpr std::string_view voicemailIDIsTaken =
    "another voicemail has the next identifier already: the setting lastVoicemailID has been lowered; "
    "set it to the greatest voicemail_id of the messages";

/// What `takeVoicemailID` has yielded, if anything.
[[nodiscard]] std::int32_t takenVoicemailID(std::optional<std::int64_t> value);

[[nodiscard]] bool isVoicemail(const StoredMessage& message) noexcept;

/// Gives a message that is saved now the values that are the store's to decide.
/// A voicemail has still to get its identifier.
void decideValues(StoredMessage& message);

[[noreturn]] void refuseSecond(const StoredMessage& message);
[[noreturn]] void refuseAbsent(const MessageUpdate& update);

/// Whether transcription is enabled, by the setting `transcriptionEnabled`.
[[nodiscard]] bool transcriptionSetting(std::int64_t value);

/// The words for the states from `signedIn` to `temporarilyUnavailable`.
[[nodiscard]] std::string_view usualDescription(AccountStatus status);

/// Reads the columns of a row from left to right, behind the `id`. A `Row` has the values of its columns:
/// `isNull(column)`, `bytes<T>(column)` for UUIDs and texts, `integer<T>(column)` and `real(column)`, and
/// says how its engine writes a UUID in a statement: `literal(uuid)`.
template <class Row>
class RowReader {
  public:
    explicit RowReader(Row& row) : row_(row) {}

    /// A text that is the same as the `likely` one shares its characters.
    template <class T>
    T next(const T* likely = nullptr) {
        ++column_;
        return read(likely);
    }

  private:
    std::optional<UUID> uuid(int column) {
        const auto found = row_.template bytes<UUID>(column);
        UUID::Bytes bytes{};
        if (found.size() != bytes.size()) {
            return std::nullopt;
        }
        std::copy(found.begin(), found.end(), bytes.begin());
        return UUID(bytes);
    }

    UUID read(const UUID*) {
        const std::optional<UUID> found = uuid(column_);
        if (!found) {
            fail("is no UUID of 16 bytes");
        }
        return *found;
    }

    SharedText read(const SharedText* likely) {
        const std::string_view text = row_.template bytes<SharedText>(column_);
        return likely != nullptr && *likely == text ? *likely : SharedText(text);
    }

    FileURL read(const FileURL*) {
        const std::string_view text = row_.template bytes<FileURL>(column_);
        std::optional<FileURL> url = FileURL::parse(text);
        if (!url) {
            fail("is " + excerptInQuotes(text) + ", which is no file URL");
        }
        return *std::move(url);
    }

    Seconds read(const Seconds*) {
        const double seconds = row_.real(column_);
        if (!std::isfinite(seconds)) {
            fail("is no finite number");
        }
        return Seconds(seconds);
    }

    bool read(const bool*) { return integerBetween<bool>(0, 1) != 0; }

    std::int32_t read(const std::int32_t*) {
        return static_cast<std::int32_t>(
            integerBetween<std::int32_t>(1, std::numeric_limits<std::int32_t>::max()));
    }

    Timestamp read(const Timestamp*) {
        using namespace std::chrono;
        constexpr Timestamp first = sys_days(year(0) / January / 1);
        constexpr Timestamp last = sys_days(year(10000) / January / 1) - milliseconds(1);
        return Timestamp(milliseconds(
            integerBetween<Timestamp>(first.time_since_epoch().count(), last.time_since_epoch().count())));
    }

    template <RawRepresentable E>
    E read(const E*) {
        constexpr auto cases = allCases<E>();
        return static_cast<E>(integerBetween<E>(rawValue(cases.front()), rawValue(cases.back())));
    }

    template <class T>
    std::optional<T> read(const std::optional<T>* likely) {
        if (row_.isNull(column_)) {
            return std::nullopt;
        }
        return read(likely != nullptr && *likely ? &**likely : static_cast<const T*>(nullptr));
    }

    template <class T>
    std::int64_t integerBetween(std::int64_t lowest, std::int64_t highest) {
        const std::int64_t number = row_.template integer<T>(column_);
        if (number < lowest || number > highest) {
            fail("is " + std::to_string(number) + ", not between " + std::to_string(lowest) + " and " +
                 std::to_string(highest));
        }
        return number;
    }

    [[noreturn]] void fail(const std::string& fault) {
        constexpr auto before = messageColumns.substr(0, messageColumns.find("record_uuid"));
        constexpr auto recordUUIDColumn = 1 + std::count(before.begin(), before.end(), ',');
        const std::optional<UUID> recordUUID = uuid(recordUUIDColumn);
        const std::string id = std::to_string(row_.template integer<std::int64_t>(0));
        throw DamagedMessage(
            "the store is damaged: in the message " +
                (recordUUID ? "with the record UUID " + recordUUID->text() : "in row " + id) + " " +
                row_.columnName(column_) + " " + fault,
            recordUUID ? "record_uuid = " + Row::literal(*recordUUID) : "id = " + id);
    }

    Row& row_;
    int column_ = 0;
};

/// Adds the message in a row of the `id` and then the `messageColumns`. Throws when a column holds what no
/// message has: the store may have been written by anyone.
template <class Row>
void appendMessageFromRow(std::vector<StoredMessage>& messages, Row& row) {
    RowReader<Row> reader(row);
    const StoredMessage* const last = messages.empty() ? nullptr : &messages.back();
    // The initialisers of a braced list are evaluated in order.
    messages.push_back({.conversationID = reader.template next<UUID>(),
                        .messageFile = reader.template next<FileURL>(),
                        .thumbnail = reader.template next<std::optional<FileURL>>(),
                        .type = reader.template next<MessageType>(),
                        .transcriptURL = reader.template next<std::optional<FileURL>>(),
                        .from = reader.template next<SharedText>(),
                        .provider = reader.template next<MessageProvider>(),
                        .duration = reader.template next<Seconds>(),
                        .sensitive = reader.template next<bool>(),
                        .recipient = reader.next(last == nullptr ? nullptr : &last->recipient),
                        .isRTT = reader.template next<bool>(),
                        .simID = reader.next(last == nullptr ? nullptr : &last->simID),
                        .quality = reader.template next<MessageQuality>(),
                        .recordUUID = reader.template next<UUID>(),
                        .voicemailID = reader.template next<std::optional<std::int32_t>>(),
                        .callUUID = reader.template next<std::optional<UUID>>(),
                        .mailbox = reader.template next<Mailbox>(),
                        .read = reader.template next<bool>(),
                        .transcription = reader.template next<TranscriptionStatus>(),
                        .created = reader.template next<std::optional<Timestamp>>()});
}

} // namespace Orvex
