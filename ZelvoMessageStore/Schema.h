#pragma once

#include "ZelvoMessageStore/SQLite.h"
#include <cstdint>
#include <stdexcept>
#include <string>

namespace Orvex {

/// Why a store cannot be used or changed, without saying what was attempted on which file.
class StoreFault : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Whether a file has a message store in it, told from its first bytes, without a change to it. False when
/// there is no file, or an empty one. Throws `StoreFault` when it holds anything but a store that this
/// version can use, and `FileError` when it is no file or cannot be read.
[[nodiscard]] bool holdsStore(const std::string& path);

/// The schema version that an open database has, 0 when it is empty. Throws `StoreFault` when it is another
/// program's or a newer version's.
[[nodiscard]] std::int64_t schemaVersion(SQLite::Database& database);

/// Brings a database that had this schema version a moment ago to the current one, in one transaction.
void migrate(SQLite::Database& database, std::int64_t version);

} // namespace Orvex
