# The reference of the public headers: the target "reference", for scripts/document. A public entity without a comment is
# an error.

find_package(Doxygen)
if(NOT DOXYGEN_FOUND)
  return()
endif()
set(DOXYGEN_PROJECT_NAME Orvex)
set(DOXYGEN_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/reference)
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)
set(DOXYGEN_WARN_NO_PARAMDOC NO)
set(DOXYGEN_JAVADOC_AUTOBRIEF YES)
set(DOXYGEN_STRIP_FROM_PATH ${PROJECT_SOURCE_DIR})
# These macros describe structs and enumerations to the compiler, not to readers.
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
set(DOXYGEN_PREDEFINED "ORVEX_CODING_KEYS(...)=" "BOOST_DESCRIBE_ENUM(...)=" "BOOST_DESCRIBE_STRUCT(...)=")
# Only the compiler calls these.
set(DOXYGEN_EXCLUDE_SYMBOLS Orvex::Coroutines* *::promise_type* *::OptionValue*)
# A comment on a group of members is about each of them.
set(DOXYGEN_DISTRIBUTE_GROUP_DOC YES)
set(DOXYGEN_FILTER_PATTERNS "\"*.h=sed -E -f ${CMAKE_CURRENT_LIST_DIR}/DescribeMembers.sed\"")
get_property(headers GLOBAL PROPERTY ORVEX_HEADERS)
doxygen_add_docs(reference ${headers})
