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
  # Where nobody puts other functions in the place of its own, it is as quick as without position-independent code.
  set_target_properties(${name} PROPERTIES OUTPUT_NAME orvex-${name})
  target_compile_options(${name} PRIVATE -fno-semantic-interposition)
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${arg_HEADERS})
  target_link_libraries(${name} PUBLIC ${arg_PUBLIC} PRIVATE ${arg_PRIVATE} $<BUILD_INTERFACE:orvex_warnings>)
  install(TARGETS ${name} EXPORT OrvexTargets
    ARCHIVE COMPONENT development
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvex COMPONENT development)
endfunction()

# orvex_module(<name> MAP <file> SOURCES <file>... LIBRARIES <library>...)
# What the program loads when it is asked for: NAME-VERSION.so, for the program of the same version alone, of the package
# orvex-NAME. It keeps its symbols to itself, all but those in MAP; it has copies of the libraries that it shares with the
# program.
function(orvex_module name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "MAP" "SOURCES;LIBRARIES")
  set(target orvex_${name})
  set(map ${CMAKE_CURRENT_SOURCE_DIR}/${arg_MAP})
  add_library(${target} MODULE ${arg_SOURCES})
  set_target_properties(${target} PROPERTIES PREFIX "" OUTPUT_NAME ${name}-${PROJECT_VERSION} SUFFIX ".so"
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR} LINK_DEPENDS ${map})
  target_link_libraries(${target} PRIVATE ${arg_LIBRARIES} orvex_warnings)
  target_link_options(${target} PRIVATE -Wl,--as-needed -Wl,--version-script=${map})
  install(TARGETS ${target} LIBRARY DESTINATION ${ORVEX_MODULE_FOLDER} COMPONENT ${name})
endfunction()
