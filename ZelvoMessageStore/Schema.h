#pragma once

#include "ZelvoMessageStore/SQLite.h"
#include <span>

// These functions throw `std::runtime_error` for a store that cannot be used, and `SQLite::Error`.
namespace Orvex {

/// Returns true if an open file begins like a message store, false if it is empty. Call it before SQLite
/// reads the file and perhaps changes it. Throws if the file holds something else or a newer store.
[[nodiscard]] bool holdsStore(const SQLite::Database& database);

/// Changes one version of the schema into the next.
using Migration = void (*)(SQLite::Database& database);

/// The steps from version 0, an empty database, to the current version.
[[nodiscard]] std::span<const Migration> migrations();

/// Migrates a database to the current schema version, in one transaction. Returns false, and changes
/// nothing, if the database is empty. Throws if it is not a store that this version can use.
[[nodiscard]] bool bringUpToDate(SQLite::Database& database, std::span<const Migration> steps = migrations());

/// Throws if the tables differ from ours: others could compute columns endlessly, or contain values of any
/// type. Call it in each transaction, before trusting the schema.
void checkTables(SQLite::Database& database);

/// Throws if a single step of a change could take minutes or hours: if an index computes something, if there
/// are many indexes, or if SQLite would move pages at the commit.
void checkChangeable(SQLite::Database& database);

/// Creates the current schema in an empty database, in one transaction, unless another process has just done
/// so.
void createSchema(SQLite::Database& database);

} // namespace Orvex
