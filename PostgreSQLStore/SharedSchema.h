#pragma once

#include "PostgreSQLStore/Connection.h"

namespace Orvex {

// `knowsVersion` says that the version of the store was looked up in the same session before. All throw
// `std::runtime_error` when the database has a store that this version, or this user, cannot use.

/// Begins a transaction that only reads. Says whether the database has a store; one that is older is brought
/// up to date.
Async<bool> beginRead(PostgreSQL::Connection& connection, bool knowsVersion);

/// Begins a change, in a store that is made or brought up to date where that is needed: what follows is one
/// transaction, which sees what the changes before it have made, and no other client changes the store
/// meanwhile.
Async<void> beginChange(PostgreSQL::Connection& connection, bool knowsVersion);

} // namespace Orvex
