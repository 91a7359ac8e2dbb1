# One library per folder. Sources are the folder's .cpp files (new files are picked up at the
# next build). The project root and platform/ are on the include path, so users write
# #include "core/EventHandlerList.h" or "LumindraWorkspace/scene/WorkspaceScene.h".
function(lumindra_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
endfunction()

# lumindra_library(<name> <SHARED|STATIC> [RECURSE] PUBLIC_LIBS ... PRIVATE_LIBS ...)
function(lumindra_library name kind)
  cmake_parse_arguments(ARG "RECURSE" "" "PUBLIC_LIBS;PRIVATE_LIBS" ${ARGN})
  if(ARG_RECURSE)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  else()
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  endif()
  add_library(${name} ${kind} ${sources})
  target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR}/platform ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LIBS} PRIVATE ${ARG_PRIVATE_LIBS})
  lumindra_warnings(${name})
endfunction()
