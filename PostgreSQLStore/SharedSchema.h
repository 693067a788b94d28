#pragma once

#include "PostgreSQLStore/Connection.h"

namespace Orvex {

// `knowsVersion` is true if the same session has checked the version of the store before. Both functions
// throw `std::runtime_error` if this program or this user cannot use the store in the database.

/// Begins a read-only transaction and returns true if the database has a store. Migrates an older store
/// first.
Async<bool> beginRead(PostgreSQL::Connection& connection, bool knowsVersion);

/// Begins a transaction that changes the store. Creates or migrates the store first if necessary. Until the
/// end of the transaction, no other client changes the store, and the transaction sees all changes before it.
Async<void> beginChange(PostgreSQL::Connection& connection, bool knowsVersion);

} // namespace Orvex
