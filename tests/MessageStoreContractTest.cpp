#include "Orvex/store/MessageStoreContract.h"

#include "PostgreSQLStore/PostgreSQLMessageStore.h"
#include "Support.h"
#include "TestServers.h"
#include "ZelvoMessageStore/SQLiteMessageStore.h"
#include "examples/own-host/MemoryStore.h"

namespace Orvex::StoreContract {
namespace {

struct FileStore {
    Testing::TemporaryFolder folder;
    SQLiteMessageStore store{folder / "new/messages.db"};
};

const StoreKind memory{"Memory", [] { return std::make_shared<MyTool::MemoryStore>(); }};
const StoreKind postgreSQL{"PostgreSQL",
                           [] { return std::make_shared<PostgreSQLMessageStore>(Testing::newDatabase()); }};
const StoreKind sqlite{"SQLite", [] {
                           auto file = std::make_shared<FileStore>();
                           return std::shared_ptr<SQLiteMessageStore>(file, &file->store);
                       }};

INSTANTIATE_TEST_SUITE_P(Stores, MessageStoreContract, testing::Values(memory, postgreSQL, sqlite),
                         [](const auto& kind) { return kind.param.name; });

} // namespace
} // namespace Orvex::StoreContract
