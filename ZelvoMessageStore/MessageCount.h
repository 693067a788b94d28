#pragma once

#include "ZelvoMessageStore/SQLite.h"
#include <cstdint>
#include <optional>

namespace Orvex {

/// The number of messages in a store, from its settings if possible.
///
/// Two settings hold the count and the file's change stamp at that moment. If another program has changed the
/// file since, or if the file is a copy, the stamps differ and the messages are counted.
class MessageCount {
  public:
    /// Call it in a transaction that has not changed anything yet.
    explicit MessageCount(SQLite::Database& database);

    [[nodiscard]] std::int64_t value() const noexcept { return value_; }

    /// Saves the count in the settings. The transaction changes something and adds this many messages.
    void note(std::int64_t added);

  private:
    SQLite::Database& database_;
    std::optional<std::uint64_t> changeStamp_;
    std::int64_t value_ = 0;
};

} // namespace Orvex
