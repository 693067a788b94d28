#include "ZelvoMessageStore/MessageCount.h"

namespace Orvex {

MessageCount::MessageCount(SQLite::Database& database) : database_(database) {
    // More than any file has room for; a greater count is nobody's.
    constexpr std::int64_t most = std::int64_t{1} << 48;
    SQLite::Statement query =
        database.prepare("SELECT count.value, change.value FROM settings AS count, settings AS change "
                         "WHERE count.name = 'messageCount' AND change.name = 'messageCountChange' AND "
                         "count.value BETWEEN 0 AND ?");
    query.bind(1, most);
    const bool isNoted = query.step();
    changeNumber_ = database.changeNumber();
    value_ = isNoted && query.integer(1) == changeNumber_
                 ? query.integer(0)
                 : database.queryInteger("SELECT count(*) FROM messages");
}

void MessageCount::note(std::int64_t added) {
    if (!changeNumber_) {
        return;
    }
    SQLite::Statement statement = database_.prepare("INSERT OR REPLACE INTO settings (name, value) "
                                                    "VALUES ('messageCount', ?), ('messageCountChange', ?)");
    statement.bind(1, value_ + added);
    statement.bind(2, std::int64_t{*changeNumber_ + 1});
    statement.run();
}

} // namespace Orvex
