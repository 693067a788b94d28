#include "PostgreSQLStore/MessageRow.h"

#include "Foundation/QuotedText.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace Orvex {

namespace {

/// In bytes, of a value.
constexpr std::size_t longestValue = 16 << 20;

/// Reads the columns of a row from left to right.
class RowReader {
  public:
    explicit RowReader(const PostgreSQL::Row& row) : row_(row) {}

    template <class T>
    T next() {
        ++column_;
        return read(static_cast<T*>(nullptr));
    }

  private:
    template <class T>
    [[nodiscard]] std::string_view bytes() {
        const std::string_view found = row_.bytes(column_, PostgreSQL::typeOf<T>.ofValue);
        if (found.size() > longestValue) {
            fail("has more than " + std::to_string(longestValue) + " bytes");
        }
        return found;
    }

    UUID read(const UUID*) {
        UUID::Bytes network{};
        const std::string_view found = bytes<UUID>();
        std::copy_n(found.begin(), std::min(found.size(), network.size()), network.begin());
        return UUID(network);
    }

    SharedText read(const SharedText*) { return bytes<SharedText>(); }

    FileURL read(const FileURL*) {
        const std::string_view text = bytes<FileURL>();
        std::optional<FileURL> url = FileURL::parse(text);
        if (!url) {
            fail("is " + excerptInQuotes(text) + ", which is no file URL");
        }
        return *std::move(url);
    }

    bool read(const bool*) { return bytes<bool>() != std::string_view("\0", 1); }

    std::int32_t read(const std::int32_t*) {
        return between(row_.integer<std::int32_t>(column_), 1, std::numeric_limits<std::int32_t>::max());
    }

    Seconds read(const Seconds*) {
        const auto seconds = std::bit_cast<double>(PostgreSQL::integerFrom<std::int64_t>(bytes<Seconds>()));
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
            milliseconds(between(row_.integer<std::int64_t>(column_), first.time_since_epoch().count(),
                                 last.time_since_epoch().count())));
    }

    template <RawRepresentable E>
    E read(const E*) {
        constexpr auto cases = allCases<E>();
        return static_cast<E>(between(PostgreSQL::integerFrom<std::int16_t>(bytes<E>()),
                                      rawValue(cases.front()), rawValue(cases.back())));
    }

    template <class T>
    std::optional<T> read(const std::optional<T>*) {
        return row_.isNull(column_) ? std::nullopt : std::optional(read(static_cast<T*>(nullptr)));
    }

    template <class Integer>
    Integer between(Integer value, std::int64_t lowest, std::int64_t highest) {
        if (value < lowest || value > highest) {
            fail("is " + std::to_string(value) + ", not between " + std::to_string(lowest) + " and " +
                 std::to_string(highest));
        }
        return value;
    }

    [[noreturn]] void fail(const std::string& fault) {
        throw std::runtime_error("the store is damaged: in message " +
                                 std::to_string(row_.integer<std::int64_t>(0)) + " " +
                                 row_.columnName(column_) + " " + fault);
    }

    const PostgreSQL::Row& row_;
    int column_ = 0;
};

} // namespace

StoredMessage messageFromSharedRow(const PostgreSQL::Row& row) {
    RowReader reader(row);
    // The initialisers of a braced list are evaluated in order.
    return {.conversationID = reader.next<UUID>(),
            .messageFile = reader.next<FileURL>(),
            .thumbnail = reader.next<std::optional<FileURL>>(),
            .type = reader.next<MessageType>(),
            .transcriptURL = reader.next<std::optional<FileURL>>(),
            .from = reader.next<SharedText>(),
            .provider = reader.next<MessageProvider>(),
            .duration = reader.next<Seconds>(),
            .sensitive = reader.next<bool>(),
            .recipient = reader.next<std::optional<SharedText>>(),
            .isRTT = reader.next<bool>(),
            .simID = reader.next<SharedText>(),
            .quality = reader.next<MessageQuality>(),
            .recordUUID = reader.next<UUID>(),
            .voicemailID = reader.next<std::optional<std::int32_t>>(),
            .callUUID = reader.next<std::optional<UUID>>(),
            .mailbox = reader.next<Mailbox>(),
            .read = reader.next<bool>(),
            .transcription = reader.next<TranscriptionStatus>(),
            .created = reader.next<std::optional<Timestamp>>()};
}

} // namespace Orvex
