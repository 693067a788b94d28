#pragma once

#include "ZelvoMessageStore/SQLite.h"
#include <span>
#include <string>

namespace Orvex {

/// Tells from the first bytes of an open file that it has a message store in it, before SQLite reads more and
/// perhaps changes something. False when it is empty. Throws `std::runtime_error` when it holds anything but
/// a store that this version can use, `SQLite::Error` when it cannot be read.
[[nodiscard]] bool holdsStore(const SQLite::Database& database);

/// A step from one version of the schema to the next.
using Migration = void (*)(SQLite::Database& database);

/// The steps from version 0, an empty database, to the current version.
[[nodiscard]] std::span<const Migration> migrations();

/// Makes sure that a database has the current schema version, bringing an older one up to date in one
/// transaction. False, with no change, when the database is empty. Throws `std::runtime_error` when it is not
/// a store that this version can use.
[[nodiscard]] bool bringUpToDate(SQLite::Database& database, std::span<const Migration> steps = migrations());

/// Throws `std::runtime_error` when the tables are not exactly our own: others could compute columns without
/// end, or take values of any type. To be called in each transaction, before the schema is trusted.
void checkTables(SQLite::Database& database);

/// Throws `std::runtime_error` when a single step of a change could be made to take minutes or hours: when an
/// index computes something, when there are many, or when SQLite would move pages at the commit.
void checkChangeable(SQLite::Database& database);

/// Gives an empty database the current schema, in one transaction, unless another process has just done so.
void createSchema(SQLite::Database& database);

} // namespace Orvex
