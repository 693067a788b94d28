# orvex_test_message_store(<target> <header> <expression> [<library>...])
# Adds a program, and a test of its name, that holds a message store to the contract of MessageStore. <header> declares the
# store, and <expression> makes an empty one: std::make_shared<MyStore>(). Needs GoogleTest.
function(orvex_test_message_store target header expression)
  find_package(GTest REQUIRED)
  cmake_path(ABSOLUTE_PATH header)
  file(CONFIGURE OUTPUT ${target}.cpp @ONLY CONTENT [[
#include "Orvex/store/MessageStoreContract.h"
#include "@header@"

using namespace Orvex::StoreContract;
INSTANTIATE_TEST_SUITE_P(Store, MessageStoreContract, testing::Values(StoreKind{"@target@", [] { return @expression@; }}));
]])
  add_executable(${target} ${CMAKE_CURRENT_BINARY_DIR}/${target}.cpp)
  target_link_libraries(${target} PRIVATE Orvex::store GTest::gtest_main ${ARGN})
  add_test(NAME ${target} COMMAND ${target})
endfunction()
