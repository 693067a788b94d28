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
    /// A shared text that is the same as `likely` shares its characters.
    RowReader(SQLite::Statement& row, SharedText likely)
        : row_(row), id_(row.integer(0)), likely_(std::move(likely)) {}

    template <class T>
    T next() {
        ++column_;
        return read(static_cast<T*>(nullptr));
    }

  private:
    UUID read(const UUID*) {
        const SQLite::Blob blob = row_.blob(column_);
        UUID::Bytes bytes{};
        if (blob.size() != bytes.size()) {
            fail("is no UUID of 16 bytes");
        }
        std::copy(blob.begin(), blob.end(), bytes.begin());
        return UUID(bytes);
    }

    std::string read(const std::string*) { return std::string(row_.text(column_)); }

    SharedText read(const SharedText*) {
        const std::string_view text = row_.text(column_);
        return likely_ == text ? likely_ : SharedText(text);
    }

    FileURL read(const FileURL*) {
        const std::string_view text = row_.text(column_);
        std::optional<FileURL> url = FileURL::parse(text);
        if (!url) {
            fail("is " + inQuotes(text) + ", which is no file URL");
        }
        return *std::move(url);
    }

    bool read(const bool*) { return integerBetween(0, 1) != 0; }

    std::int32_t read(const std::int32_t*) {
        return static_cast<std::int32_t>(integerBetween(1, std::numeric_limits<std::int32_t>::max()));
    }

    Seconds read(const Seconds*) {
        const double seconds = row_.real(column_);
        if (!std::isfinite(seconds)) {
            fail("is no finite number");
        }
        return Seconds(seconds);
    }

    Timestamp read(const Timestamp*) {
        using namespace std::chrono;
        constexpr Timestamp first = sys_days(year(0) / January / 1);
        constexpr Timestamp last = sys_days(year(10000) / January / 1) - milliseconds(1);
        return Timestamp(
            milliseconds(integerBetween(first.time_since_epoch().count(), last.time_since_epoch().count())));
    }

    template <RawRepresentable E>
    E read(const E*) {
        constexpr auto cases = allCases<E>();
        return static_cast<E>(integerBetween(rawValue(cases.front()), rawValue(cases.back())));
    }

    template <class T>
    std::optional<T> read(const std::optional<T>*) {
        return row_.isNull(column_) ? std::nullopt : std::optional(read(static_cast<T*>(nullptr)));
    }

    std::int64_t integerBetween(std::int64_t lowest, std::int64_t highest) {
        const std::int64_t value = row_.integer(column_);
        if (value < lowest || value > highest) {
            fail("is " + std::to_string(value) + ", not between " + std::to_string(lowest) + " and " +
                 std::to_string(highest));
        }
        return value;
    }

    [[noreturn]] void fail(const std::string& fault) {
        throw StoreFault("the file is damaged: in message " + std::to_string(id_) + " " +
                         row_.columnName(column_) + " " + fault);
    }

    SQLite::Statement& row_;
    std::int64_t id_;
    SharedText likely_;
    int column_ = 0;
};

} // namespace

void appendMessageFromRow(std::vector<StoredMessage>& messages, SQLite::Statement& row) {
    RowReader reader(row, messages.empty() ? SharedText() : messages.back().simID);
    // The initialisers of a braced list are evaluated in order.
    messages.push_back({.conversationID = reader.next<UUID>(),
                        .messageFile = reader.next<FileURL>(),
                        .thumbnail = reader.next<std::optional<FileURL>>(),
                        .type = reader.next<MessageType>(),
                        .transcriptURL = reader.next<std::optional<FileURL>>(),
                        .from = reader.next<std::string>(),
                        .provider = reader.next<MessageProvider>(),
                        .duration = reader.next<Seconds>(),
                        .sensitive = reader.next<bool>(),
                        .recipient = reader.next<std::optional<std::string>>(),
                        .isRTT = reader.next<bool>(),
                        .simID = reader.next<SharedText>(),
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
