# One library per folder. Sources are the folder's .cpp files (new files are picked up at the
# next build). The project root and platform/ are on the include path, so users write
# #include "core/EventHandlerList.h" or "LumindraWorkspace/scene/WorkspaceScene.h"; an installed
# package keeps that layout under include/lumindra.
function(lumindra_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
endfunction()

# lumindra_library(<name> <SHARED|STATIC> [RECURSE] PUBLIC_LIBS ... PRIVATE_LIBS ...
#                  [PRIVATE_HEADERS ...])
# Every library is part of the installed package (Lumindra::<name without "Lumindra">) with its
# headers, except PRIVATE_HEADERS: those name dependencies that the package does not bring.
function(lumindra_library name kind)
  cmake_parse_arguments(ARG "RECURSE" "" "PUBLIC_LIBS;PRIVATE_LIBS;PRIVATE_HEADERS" ${ARGN})
  if(ARG_RECURSE)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  else()
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  endif()
  set(cpp ${sources})
  list(FILTER cpp INCLUDE REGEX "\\.cpp$")
  if(NOT cpp)
    message(STATUS "${name}: no sources yet, not built")
    return()
  endif()
  add_library(${name} ${kind} ${sources})
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/platform> $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}>
    $<INSTALL_INTERFACE:${LUMINDRA_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LIBS} PRIVATE ${ARG_PRIVATE_LIBS})
  # The headers are C++17: a host that links the package compiles them as such.
  target_compile_features(${name} PUBLIC cxx_std_17)
  lumindra_warnings(${name})

  string(REGEX REPLACE "^Lumindra" "" export_name ${name})
  set_target_properties(${name} PROPERTIES
    EXPORT_NAME ${export_name}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    # The libraries lie side by side wherever the package is unpacked.
    INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${name} EXPORT LumindraWorkspaceTargets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

  # Headers keep the path users include them by: relative to platform/ or to the project root.
  string(FIND "${CMAKE_CURRENT_SOURCE_DIR}/" "${CMAKE_SOURCE_DIR}/platform/" in_platform)
  if(in_platform EQUAL 0)
    file(RELATIVE_PATH header_dir ${CMAKE_SOURCE_DIR}/platform ${CMAKE_CURRENT_SOURCE_DIR})
  else()
    file(RELATIVE_PATH header_dir ${CMAKE_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  endif()
  set(excluded)
  foreach(header IN LISTS ARG_PRIVATE_HEADERS)
    list(APPEND excluded PATTERN ${header} EXCLUDE)
  endforeach()
  install(DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/
          DESTINATION ${LUMINDRA_INSTALL_INCLUDEDIR}/${header_dir}
          FILES_MATCHING PATTERN "*.h" ${excluded})
endfunction()
