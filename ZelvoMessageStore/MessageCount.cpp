#include "ZelvoMessageStore/MessageCount.h"

#include <string_view>

namespace Orvex {

MessageCount::MessageCount(SQLite::Database& database) : database_(database) {
    SQLite::Statement query = database.prepare("SELECT value FROM settings WHERE name = ?");
    const auto setting = [&](std::string_view name) {
        query.reset();
        query.bind(1, name);
        return query.step() ? std::optional(query.integer(0)) : std::nullopt;
    };
    const std::optional<std::int64_t> count = setting("messageCount");
    const std::optional<std::int64_t> change = setting("messageCountChange");
    changeStamp_ = database.changeStamp();
    const bool isCurrent = change && changeStamp_ && static_cast<std::uint64_t>(*change) == *changeStamp_;
    // Memory is reserved for this count, so a forged one must fit the file's size. A message takes at least
    // its own UUID, in the table and in an index, and that of its conversation.
    constexpr std::int64_t leastSize = 48;
    value_ = isCurrent && count >= 0 && count <= database.dataSize() / leastSize
                 ? *count
                 // The condition lets SQLite interrupt the query.
                 : database.queryInteger("SELECT count(*) FROM messages WHERE provider > 0");
}

void MessageCount::note(std::int64_t added) {
    if (!changeStamp_) {
        return;
    }
    SQLite::Statement statement = database_.prepare("INSERT OR REPLACE INTO settings (name, value) "
                                                    "VALUES ('messageCount', ?), ('messageCountChange', ?)");
    statement.bind(1, value_ + added);
    statement.bind(2, static_cast<std::int64_t>(*changeStamp_ + 1));
    statement.run();
}

} // namespace Orvex
