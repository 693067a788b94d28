# find_package(Orvex) reads this file of an installation.

include(CMakeFindDependencyMacro)
find_dependency(Boost 1.81)
find_dependency(EXPAT)
find_dependency(SQLite3)

include(${CMAKE_CURRENT_LIST_DIR}/OrvexTargets.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/OrvexStoreContract.cmake)
