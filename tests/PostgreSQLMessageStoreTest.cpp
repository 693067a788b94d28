#include "PostgreSQLStore/PostgreSQLMessageStore.h"
#include "PostgreSQLServer.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Orvex::Testing {
namespace {

} // namespace
} // namespace Orvex::Testing
