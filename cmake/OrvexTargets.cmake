# Warnings for our own sources, not for whoever uses the libraries.
add_library(orvex_warnings INTERFACE)
target_compile_options(orvex_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
# g++ 12 sees overlapping copies in every `"literal" + string` that it optimises (GCC bug 105329).
target_compile_options(orvex_warnings INTERFACE -Wno-restrict)

# orvex_library(<folder's name> SOURCES <file>... HEADERS <file>... [PUBLIC <library>...] [PRIVATE <library>...])
# The library of a folder, to be linked as Orvex::<folder's name>. HEADERS are what other programs may include: they are
# installed, the folder's other headers are not.
function(orvex_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;HEADERS;PUBLIC;PRIVATE")
  add_library(${name} STATIC ${arg_SOURCES})
  add_library(Orvex::${name} ALIAS ${name})
  # A module that is loaded may have a copy of it. Hidden, it is as quick as without position-independent code.
  set_target_properties(${name} PROPERTIES OUTPUT_NAME orvex-${name} POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden)
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${arg_HEADERS})
  target_link_libraries(${name} PUBLIC ${arg_PUBLIC} PRIVATE ${arg_PRIVATE} $<BUILD_INTERFACE:orvex_warnings>)
  install(TARGETS ${name} EXPORT OrvexTargets
    ARCHIVE COMPONENT development
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvex COMPONENT development)
endfunction()
