# What find_package(Orvex) reads where Orvex is installed.

include(CMakeFindDependencyMacro)
find_dependency(Boost 1.81)
find_dependency(EXPAT)
find_dependency(SQLite3)
find_dependency(PkgConfig)
pkg_check_modules(UUID QUIET IMPORTED_TARGET uuid)
if(NOT UUID_FOUND)
  set(Orvex_FOUND FALSE)
  set(Orvex_NOT_FOUND_MESSAGE "pkg-config does not find the package uuid")
  return()
endif()

include(${CMAKE_CURRENT_LIST_DIR}/OrvexTargets.cmake)
