# cmake -DLUPDATE=... -DSOURCE_DIR=... -DWORK_DIR=... -DLANGUAGES=... -P CheckCatalogsCurrent.cmake
# Runs the catalog update on copies of translations/*.ts: a copy that changes means a text was
# added, changed or removed in the sources and the catalog in the repository was not updated.
foreach(var LUPDATE SOURCE_DIR WORK_DIR LANGUAGES)
  if(NOT DEFINED ${var} OR "${${var}}" STREQUAL "")
    message(FATAL_ERROR "CheckCatalogsCurrent.cmake needs -D${var}=...")
  endif()
endforeach()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
file(GLOB catalogs ${SOURCE_DIR}/translations/*.ts)
if(NOT catalogs)
  message(FATAL_ERROR "No catalogs in ${SOURCE_DIR}/translations")
endif()
file(COPY ${catalogs} DESTINATION ${WORK_DIR})

execute_process(
  COMMAND ${CMAKE_COMMAND} -DLUPDATE=${LUPDATE} -DSOURCE_DIR=${SOURCE_DIR} -DCATALOG_DIR=${WORK_DIR}
          "-DLANGUAGES=${LANGUAGES}" -P ${SOURCE_DIR}/translations/UpdateCatalogs.cmake
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "Updating the catalogs failed")
endif()

set(stale)
file(GLOB updated RELATIVE ${WORK_DIR} ${WORK_DIR}/*.ts)
foreach(name IN LISTS updated)
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${SOURCE_DIR}/translations/${name} ${WORK_DIR}/${name}
                  RESULT_VARIABLE different)
  if(NOT different EQUAL 0)
    list(APPEND stale ${name})
  endif()
endforeach()
if(stale)
  message(FATAL_ERROR "Catalogs not current with the sources: ${stale}\n"
          "Run `cmake --build build --target lumindra_lupdate`, translate what it marks unfinished, commit.")
endif()
message(STATUS "Catalogs current: ${updated}")
