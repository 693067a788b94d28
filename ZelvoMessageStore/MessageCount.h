#pragma once

#include "ZelvoMessageStore/SQLite.h"
#include <cstdint>
#include <optional>

namespace Orvex {

/// How many messages a store holds, without counting them where that can be told.
///
/// Two settings have the count, and the number of the file's change that it was noted with. Whatever else
/// writes into the file, and does not know of them, makes a change of another number: then the messages are
/// counted.
class MessageCount {
  public:
    /// Within a transaction that has not changed anything yet.
    explicit MessageCount(SQLite::Database& database);

    [[nodiscard]] std::int64_t value() const noexcept { return value_; }

    /// Notes that the transaction, which changes something, adds this many messages.
    void note(std::int64_t added);

  private:
    SQLite::Database& database_;
    std::optional<std::uint64_t> changeNumber_;
    std::int64_t value_ = 0;
};

} // namespace Orvex
