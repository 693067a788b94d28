# ICU: shared, or, for programs that start in two thirds of the time, linked in. What is installed for other programs to
# link does not depend on this choice.
option(ORVEX_QUICK_START "Link ICU and the C++ library into the programs" OFF)
if(NOT ORVEX_QUICK_START)
  find_package(ICU REQUIRED COMPONENTS i18n uc)
  return()
endif()

set(shared_suffixes ${CMAKE_FIND_LIBRARY_SUFFIXES})
set(CMAKE_FIND_LIBRARY_SUFFIXES .a)
find_package(ICU REQUIRED COMPONENTS i18n uc data)
set(CMAKE_FIND_LIBRARY_SUFFIXES ${shared_suffixes})
# Static libraries do not say what they need.
set_property(TARGET ICU::i18n APPEND PROPERTY INTERFACE_LINK_LIBRARIES ICU::uc)
set_property(TARGET ICU::uc APPEND PROPERTY INTERFACE_LINK_LIBRARIES ICU::data ${CMAKE_DL_LIBS})
