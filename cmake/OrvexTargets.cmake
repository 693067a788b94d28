# Warnings for our own sources, not for programs that use the libraries.
add_library(orvex_warnings INTERFACE)
target_compile_options(orvex_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
# g++ 12 warns of overlapping copies in every optimised `"literal" + string` (GCC bug 105329).
target_compile_options(orvex_warnings INTERFACE -Wno-restrict)

# orvex_library(<folder's name> SOURCES <file>... HEADERS <file>... [PUBLIC <library>...] [PRIVATE <library>...])
# The library of a folder, to be linked as Orvex::<folder's name>. HEADERS are public and installed; the folder's other
# headers are neither.
function(orvex_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;HEADERS;PUBLIC;PRIVATE")
  add_library(${name} STATIC ${arg_SOURCES})
  add_library(Orvex::${name} ALIAS ${name})
  set_target_properties(${name} PROPERTIES OUTPUT_NAME orvex-${name})
  # Functions are never replaced at run time, so calls can be direct or inlined.
  target_compile_options(${name} PRIVATE -fno-semantic-interposition)
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${arg_HEADERS})
  list(TRANSFORM arg_HEADERS PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  set_property(GLOBAL APPEND PROPERTY ORVEX_HEADERS ${arg_HEADERS})
  target_link_libraries(${name} PUBLIC ${arg_PUBLIC} PRIVATE ${arg_PRIVATE} $<BUILD_INTERFACE:orvex_warnings>)
  install(TARGETS ${name} EXPORT OrvexTargets
    ARCHIVE COMPONENT development
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvex COMPONENT development)
endfunction()

# orvex_module(<name> FACTORY <function> SOURCES <file>... LIBRARIES <library>...)
# A shared object that the program loads on demand: NAME-VERSION.so, in the package orvex-NAME. Only a program of the same
# version loads it. It exports only the factory, and contains copies of the libraries that the program contains, too.
function(orvex_module name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "FACTORY" "SOURCES;LIBRARIES")
  set(target orvex_${name})
  set(map ${CMAKE_CURRENT_BINARY_DIR}/${name}.map)
  file(CONFIGURE OUTPUT ${map} CONTENT "{ global: ${arg_FACTORY}; local: *; };\n")
  add_library(${target} MODULE ${arg_SOURCES})
  set_target_properties(${target} PROPERTIES PREFIX "" OUTPUT_NAME ${name}-${PROJECT_VERSION} SUFFIX ".so"
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR} LINK_DEPENDS ${map})
  target_link_libraries(${target} PRIVATE ${arg_LIBRARIES} orvex_warnings)
  target_link_options(${target} PRIVATE -Wl,--as-needed -Wl,--version-script=${map})
  install(TARGETS ${target} LIBRARY DESTINATION ${ORVEX_MODULE_FOLDER} COMPONENT ${name})
endfunction()
