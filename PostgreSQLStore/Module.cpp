#include "PostgreSQLStore/PostgreSQLMessageStore.h"

/// What the program looks up in this module: a new store, to be deleted by the caller.
extern "C" [[gnu::visibility("default")]] Orvex::MessageStore* orvexMakePostgreSQLStore(const char* uri) {
    return new Orvex::PostgreSQLMessageStore(uri);
}
