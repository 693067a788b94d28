#pragma once

#include "Orvex/store/MessageStore.h"
#include <memory>
#include <string>
#include <string_view>

namespace Orvex {

/// Whether this is the location of a store on a PostgreSQL server, not the path of a file.
[[nodiscard]] bool isSharedStore(std::string_view location);

/// Loads the module that knows such stores. Throws `MessageStoreError` when it is not installed, or when it
/// cannot tell what the location means.
[[nodiscard]] std::shared_ptr<MessageStore> makeSharedStore(const std::string& location);

} // namespace Orvex
