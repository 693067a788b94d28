#include "PostgreSQLStore/PostgreSQLMessageStore.h"

/// The function that the program looks up in this module. The caller deletes the store.
extern "C" [[gnu::visibility("default")]] Orvex::MessageStore* orvexMakePostgreSQLStore(const char* uri) {
    return new Orvex::PostgreSQLMessageStore(uri);
}
