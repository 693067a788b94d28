# Installs the files by which CMake and pkg-config find the libraries, and the documentation.

include(CMakePackageConfigHelpers)
set(cmake_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Orvex)
write_basic_package_version_file(OrvexConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES cmake/OrvexConfig.cmake cmake/GenerateDocuments.cmake
  cmake/OrvexStoreContract.cmake ${PROJECT_BINARY_DIR}/OrvexConfigVersion.cmake
  DESTINATION ${cmake_folder} COMPONENT development)
# No library has it, so that only its users need GoogleTest.
install(FILES Orvex/store/MessageStoreContract.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvex/Orvex/store
  COMPONENT development)
install(EXPORT OrvexTargets NAMESPACE Orvex:: DESTINATION ${cmake_folder} COMPONENT development)

# Relative to orvex.pc, so that installed files can be moved together.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
  OUTPUT_VARIABLE pkgconfig_to_prefix)
configure_file(${CMAKE_CURRENT_LIST_DIR}/orvex.pc.in orvex.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orvex.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

set(documentation ${CMAKE_INSTALL_DATADIR}/doc)
install(FILES README.md CHANGELOG.md DESTINATION ${documentation}/orvex)
install(DIRECTORY docs DESTINATION ${documentation}/orvex)
install(DIRECTORY examples/own-host DESTINATION ${documentation}/orvex-dev/examples COMPONENT development)
install(FILES examples/own-loop.cpp DESTINATION ${documentation}/orvex-dev/examples COMPONENT development)
install(FILES LICENSE DESTINATION ${documentation}/orvex RENAME copyright)
install(FILES LICENSE DESTINATION ${documentation}/orvex-postgresql RENAME copyright COMPONENT postgresql)
install(FILES LICENSE DESTINATION ${documentation}/orvex-smtp RENAME copyright COMPONENT smtp)
install(FILES LICENSE DESTINATION ${documentation}/orvex-dev RENAME copyright COMPONENT development)
