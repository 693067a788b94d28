#include "PostgreSQLStore/PostgreSQLMessageStore.h"

/// The symbol that the program looks up in this module. Returns a new store, which the caller deletes.
extern "C" [[gnu::visibility("default")]] Orvex::MessageStore* orvexMakePostgreSQLStore(const char* uri) {
    return new Orvex::PostgreSQLMessageStore(uri);
}
