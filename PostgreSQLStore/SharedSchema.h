#pragma once

#include "PostgreSQLStore/Connection.h"
#include <cstdint>

namespace Orvex {

/// Begins a change: what follows is one transaction, which sees what the changes before it have made, and no
/// other client changes the store meanwhile.
Async<void> beginChange(PostgreSQL::Connection& connection);

/// Whether the database has a store of the current schema; one that is older is brought up to date. Throws
/// `std::runtime_error` when it has one that this version cannot use.
Async<bool> hasSharedStore(PostgreSQL::Connection& connection);

/// Makes the store, in one transaction, unless another client has just done so.
Async<void> createSharedStore(PostgreSQL::Connection& connection);

} // namespace Orvex
