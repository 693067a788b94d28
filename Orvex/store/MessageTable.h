#pragma once

#include "Foundation/Enumeration.h"
#include "Foundation/QuotedText.h"
#include "Foundation/Time.h"
#include "Orvex/model/MessageFields.h"
#include "Orvex/store/MessageStore.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The code that stores with SQL tables share, whatever their engine. Statements write parameters as `?1`.
/// Faults are `std::runtime_error`s without the attempted operation and the store's name; `rethrowExplained`
/// adds these.
namespace Orvex {

/// The columns of `selectStatement()` behind the `id`: those of `messageFields`, the last one first. SQLite
/// parses the header of a row up to the requested column, so this order makes it parse each header once.
inline constexpr auto selectedColumns = std::apply(
    [](const auto&... field) {
        std::array columns{field.column...};
        std::ranges::reverse(columns);
        return columns;
    },
    messageFields);

/// A row that is not a valid message, with the reason.
class DamagedMessage : public std::runtime_error {
  public:
    DamagedMessage(const std::string& fault, std::string condition)
        : std::runtime_error(fault), condition_(std::move(condition)) {}

    /// An SQL condition that only this row meets.
    [[nodiscard]] const std::string& condition() const noexcept { return condition_; }

  private:
    std::string condition_;
};

/// Throws the exception being handled as a `MessageStoreError`. `attempt` is the operation, as in "save a
/// message". `causeOf` explains an error of the engine, and `removalOf` completes "to remove it" for a
/// damaged message, given the condition of its row.
template <class EngineError, class Removal>
[[noreturn]] void rethrowExplained(std::string_view attempt, const std::string& quotedStore,
                                   std::string (&causeOf)(const EngineError&), Removal removalOf) {
    std::string reason;
    try {
        throw;
    } catch (const EngineError& error) {
        reason = causeOf(error);
    } catch (const DamagedMessage& error) {
        reason = std::string(error.what()) + "; to remove it" + removalOf(error.condition());
    } catch (const std::bad_alloc&) {
        reason = "out of memory";
    } catch (const std::exception& error) {
        reason = error.what();
    }
    throw MessageStoreError("cannot " + std::string(attempt) + " in the message store " + quotedStore + ": " +
                            onOneLine(reason));
}

/// Throws if the store's schema is newer than `knownVersion`.
void refuseNewerVersion(std::int64_t version, std::int64_t knownVersion);

/// Selects the `id` and the fields of messages; `rest` follows the name of the table.
[[nodiscard]] std::string selectStatement(std::string_view rest);

/// Changes no row if a message with the same record UUID exists.
[[nodiscard]] std::string insertStatement();

/// Passes the parameters of `insertStatement()` to `use`.
template <class Use>
auto withValues(const StoredMessage& message, Use use) {
    return std::apply([&](const auto&... field) { return use(message.*field.member...); }, messageFields);
}

[[nodiscard]] std::string updateStatement();

/// Passes the parameters of `updateStatement()` to `use`. `newVoicemailID` is needed if the message becomes a
/// voicemail.
template <class Use>
auto withValues(const MessageUpdate& update, std::optional<std::int32_t> newVoicemailID, Use use) {
    return std::apply(
        [&](const auto&... change) {
            return use(update.recordUUID, update.undelete, newVoicemailID, update.*change.member...);
        },
        updateFields);
}

/// Finds a row if the message with the record UUID `?1` becomes a voicemail with the provider Telephony.
inline constexpr std::string_view findNewVoicemailStatement =
    "SELECT id FROM messages WHERE record_uuid = ?1 AND type = 1 AND voicemail_id IS NULL";

/// Yields the next voicemail identifier.
inline constexpr std::string_view takeVoicemailIDStatement =
    "UPDATE settings SET value = value + 1 WHERE name = 'lastVoicemailID' AND value BETWEEN 0 AND 2147483646 "
    "RETURNING value";

/// The cause when another message has the voicemail identifier that was taken.
inline constexpr std::string_view voicemailIDIsTaken =
    "another voicemail has the next identifier already: the setting lastVoicemailID has been lowered; "
    "set it to the greatest voicemail_id of the messages";

/// Checks the result of `takeVoicemailIDStatement`.
[[nodiscard]] std::int32_t checkedVoicemailID(std::optional<std::int64_t> value);

[[nodiscard]] bool isVoicemail(const StoredMessage& message) noexcept;

/// Sets the members of a new message that the store decides, except for a voicemail's identifier.
void setInitialValues(StoredMessage& message);

[[noreturn]] void refuseDuplicate(const StoredMessage& message);
[[noreturn]] void refuseAbsent(const MessageUpdate& update);

/// Returns true if the setting `transcriptionEnabled` is 1; throws if it is neither 0 nor 1.
[[nodiscard]] bool isTranscriptionEnabled(std::int64_t setting);

/// A row of `selectStatement()` as an engine hands it over: the `id` in column 0, then `selectedColumns`.
template <class Row>
concept MessageRow = requires(const Row& row, int column, const UUID& uuid) {
    { row.isNull(column) } -> std::same_as<bool>;
    row.template bytes<UUID>(column).size();
    { row.template bytes<SharedText>(column) } -> std::same_as<std::string_view>;
    { row.template bytes<FileURL>(column) } -> std::same_as<std::string_view>;
    { row.template integer<std::int32_t>(column) } -> std::same_as<std::int64_t>;
    { row.real(column) } -> std::same_as<double>;
    // The engine's spelling of a UUID in a statement.
    { Row::literal(uuid) } -> std::same_as<std::string>;
};

/// Reads fields from a row, which anybody may have written: throws `DamagedMessage` for values that no
/// message has.
template <MessageRow Row>
class RowReader {
  public:
    explicit RowReader(const Row& row) : row_(row) {}

    /// `previous` is the same field in the previous row, or null: equal texts share their characters.
    template <class T>
    T read(int column, [[maybe_unused]] const T* previous) const {
        if constexpr (std::same_as<T, UUID>) {
            const std::optional<UUID> found = uuid(column);
            if (!found) {
                fail(column, "is not a UUID of 16 bytes");
            }
            return *found;
        } else if constexpr (std::same_as<T, SharedText>) {
            const std::string_view text = row_.template bytes<T>(column);
            return previous != nullptr && *previous == text ? *previous : T(text);
        } else if constexpr (std::same_as<T, FileURL>) {
            const std::string_view text = row_.template bytes<T>(column);
            std::optional<FileURL> url = FileURL::parse(text);
            if (!url) {
                fail(column, "is " + excerptInQuotes(text) + ", which is not a file URL");
            }
            return *std::move(url);
        } else if constexpr (std::same_as<T, Seconds>) {
            const double seconds = row_.real(column);
            if (!std::isfinite(seconds)) {
                fail(column, "is not a finite number");
            }
            return Seconds(seconds);
        } else if constexpr (std::same_as<T, bool>) {
            return integerBetween<T>(column, 0, 1) != 0;
        } else if constexpr (std::same_as<T, std::int32_t>) {
            return static_cast<T>(integerBetween<T>(column, 1, std::numeric_limits<T>::max()));
        } else if constexpr (std::same_as<T, Timestamp>) {
            using namespace std::chrono;
            constexpr Timestamp first = sys_days(year(0) / January / 1);
            constexpr Timestamp last = sys_days(year(10000) / January / 1) - milliseconds(1);
            return Timestamp(milliseconds(integerBetween<T>(column, first.time_since_epoch().count(),
                                                            last.time_since_epoch().count())));
        } else {
            constexpr auto cases = allCases<T>();
            return static_cast<T>(integerBetween<T>(column, rawValue(cases.front()), rawValue(cases.back())));
        }
    }

    template <class T>
    std::optional<T> read(int column, const std::optional<T>* previous) const {
        if (row_.isNull(column)) {
            return std::nullopt;
        }
        return read(column, previous != nullptr && *previous ? &**previous : static_cast<const T*>(nullptr));
    }

  private:
    [[nodiscard]] std::optional<UUID> uuid(int column) const {
        const auto found = row_.template bytes<UUID>(column);
        UUID::Bytes bytes{};
        if (found.size() != bytes.size()) {
            return std::nullopt;
        }
        std::copy(found.begin(), found.end(), bytes.begin());
        return UUID(bytes);
    }

    template <class T>
    std::int64_t integerBetween(int column, std::int64_t lowest, std::int64_t highest) const {
        const std::int64_t number = row_.template integer<T>(column);
        if (number < lowest || number > highest) {
            fail(column, "is " + std::to_string(number) + ", not between " + std::to_string(lowest) +
                             " and " + std::to_string(highest));
        }
        return number;
    }

    [[noreturn]] void fail(int column, const std::string& fault) const {
        const auto recordUUIDColumn =
            std::ranges::find(selectedColumns, "record_uuid") - selectedColumns.begin();
        const std::optional<UUID> recordUUID = uuid(1 + static_cast<int>(recordUUIDColumn));
        const std::string id = std::to_string(row_.template integer<std::int64_t>(0));
        throw DamagedMessage(
            "the store is damaged: in the message " +
                (recordUUID ? "with the record UUID " + recordUUID->text() : "in row " + id) + " " +
                std::string(selectedColumns.at(static_cast<std::size_t>(column - 1))) + " " + fault,
            recordUUID ? "record_uuid = " + Row::literal(*recordUUID) : "id = " + id);
    }

    const Row& row_;
};

/// Adds the message in a row to a list. Throws `DamagedMessage`; then the last message of the list is not
/// complete.
template <MessageRow Row>
void appendMessageFromRow(std::vector<StoredMessage>& messages, const Row& row) {
    // Every member is read below. A `FileURL` needs a value before that.
    static const StoredMessage blank{
        .conversationID{}, .messageFile = FileURL::fromPath("/"), .from{}, .simID{}};
    messages.push_back(blank);
    StoredMessage& message = messages.back();
    const StoredMessage* const previous = messages.size() > 1 ? &messages.end()[-2] : nullptr;
    const RowReader<Row> reader(row);
    int column = static_cast<int>(selectedColumns.size());
    forEach(messageFields, [&](const auto& field) {
        message.*field.member =
            reader.read(column--, previous == nullptr ? nullptr : &(previous->*field.member));
    });
}

} // namespace Orvex
