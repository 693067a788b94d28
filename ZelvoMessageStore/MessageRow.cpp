#include "ZelvoMessageStore/MessageRow.h"

#include "Foundation/QuotedText.h"
#include "ZelvoMessageStore/Schema.h"
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace Orvex {

namespace {

/// Reads the columns of a row from left to right.
class RowReader {
  public:
    explicit RowReader(SQLite::Statement& row) : row_(row) {}

    /// A text that is the same as the `likely` one shares its characters.
    template <class T>
    T next(const T* likely = nullptr) {
        const SQLite::Value value = row_.value(++column_);
        return read(value, likely);
    }

  private:
    UUID read(SQLite::Value value, const UUID*) {
        const SQLite::Blob blob = value.blob();
        UUID::Bytes bytes{};
        if (blob.size() != bytes.size()) {
            fail("is no UUID of 16 bytes");
        }
        std::copy(blob.begin(), blob.end(), bytes.begin());
        return UUID(bytes);
    }

    SharedText read(SQLite::Value value, const SharedText* likely) {
        const std::string_view text = value.text();
        return likely != nullptr && *likely == text ? *likely : SharedText(text);
    }

    FileURL read(SQLite::Value value, const FileURL*) {
        const std::string_view text = value.text();
        std::optional<FileURL> url = FileURL::parse(text);
        if (!url) {
            fail("is " + inQuotes(text) + ", which is no file URL");
        }
        return *std::move(url);
    }

    bool read(SQLite::Value value, const bool*) { return integerBetween(value, 0, 1) != 0; }

    std::int32_t read(SQLite::Value value, const std::int32_t*) {
        return static_cast<std::int32_t>(integerBetween(value, 1, std::numeric_limits<std::int32_t>::max()));
    }

    Seconds read(SQLite::Value value, const Seconds*) {
        const double seconds = value.real();
        if (!std::isfinite(seconds)) {
            fail("is no finite number");
        }
        return Seconds(seconds);
    }

    Timestamp read(SQLite::Value value, const Timestamp*) {
        using namespace std::chrono;
        constexpr Timestamp first = sys_days(year(0) / January / 1);
        constexpr Timestamp last = sys_days(year(10000) / January / 1) - milliseconds(1);
        return Timestamp(milliseconds(
            integerBetween(value, first.time_since_epoch().count(), last.time_since_epoch().count())));
    }

    template <RawRepresentable E>
    E read(SQLite::Value value, const E*) {
        constexpr auto cases = allCases<E>();
        return static_cast<E>(integerBetween(value, rawValue(cases.front()), rawValue(cases.back())));
    }

    template <class T>
    std::optional<T> read(SQLite::Value value, const std::optional<T>* likely) {
        if (value.isNull()) {
            return std::nullopt;
        }
        return read(value, likely != nullptr && *likely ? &**likely : static_cast<const T*>(nullptr));
    }

    std::int64_t integerBetween(SQLite::Value value, std::int64_t lowest, std::int64_t highest) {
        const std::int64_t number = value.integer();
        if (number < lowest || number > highest) {
            fail("is " + std::to_string(number) + ", not between " + std::to_string(lowest) + " and " +
                 std::to_string(highest));
        }
        return number;
    }

    [[noreturn]] void fail(const std::string& fault) {
        throw StoreFault("the file is damaged: in message " + std::to_string(row_.integer(0)) + " " +
                         row_.columnName(column_) + " " + fault);
    }

    SQLite::Statement& row_;
    int column_ = 0;
};

} // namespace

void appendMessageFromRow(std::vector<StoredMessage>& messages, SQLite::Statement& row) {
    RowReader reader(row);
    const StoredMessage* const last = messages.empty() ? nullptr : &messages.back();
    // The initialisers of a braced list are evaluated in order.
    messages.push_back({.conversationID = reader.next<UUID>(),
                        .messageFile = reader.next<FileURL>(),
                        .thumbnail = reader.next<std::optional<FileURL>>(),
                        .type = reader.next<MessageType>(),
                        .transcriptURL = reader.next<std::optional<FileURL>>(),
                        .from = reader.next<SharedText>(),
                        .provider = reader.next<MessageProvider>(),
                        .duration = reader.next<Seconds>(),
                        .sensitive = reader.next<bool>(),
                        .recipient = reader.next(last == nullptr ? nullptr : &last->recipient),
                        .isRTT = reader.next<bool>(),
                        .simID = reader.next(last == nullptr ? nullptr : &last->simID),
                        .quality = reader.next<MessageQuality>(),
                        .recordUUID = reader.next<UUID>(),
                        .voicemailID = reader.next<std::optional<std::int32_t>>(),
                        .callUUID = reader.next<std::optional<UUID>>(),
                        .mailbox = reader.next<Mailbox>(),
                        .read = reader.next<bool>(),
                        .transcription = reader.next<TranscriptionStatus>(),
                        .created = reader.next<std::optional<Timestamp>>()});
}

} // namespace Orvex
