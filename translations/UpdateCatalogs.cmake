# cmake -DLUPDATE=<lupdate> -DSOURCE_DIR=<project root> -DCATALOG_DIR=<folder of the .ts files>
#       -DLANGUAGES=<de;...> -P UpdateCatalogs.cmake
# Writes every catalog's texts from the sources into CATALOG_DIR/<catalog>_<lang>.ts, keeping
# the translations already there and dropping texts the sources no longer have. The include
# paths let lupdate see each class's namespace, so that a text's context is the class name that
# tr() looks up at run time ("Quelto::Lumindra::WorkspaceControllerProvider").
foreach(var LUPDATE SOURCE_DIR CATALOG_DIR LANGUAGES)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "UpdateCatalogs.cmake needs -D${var}=...")
  endif()
endforeach()

set(sources_lumindra ${SOURCE_DIR}/app)
set(sources_lumindraworkspace ${SOURCE_DIR}/LumindraWorkspace ${SOURCE_DIR}/platform)

foreach(catalog IN ITEMS lumindra lumindraworkspace)
  set(ts_files)
  foreach(lang IN LISTS LANGUAGES)
    list(APPEND ts_files ${CATALOG_DIR}/${catalog}_${lang}.ts)
  endforeach()
  execute_process(
    COMMAND ${LUPDATE} -silent -no-obsolete -locations none -extensions cpp,h
            -I ${SOURCE_DIR} -I ${SOURCE_DIR}/platform ${sources_${catalog}} -ts ${ts_files}
    RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "lupdate failed for ${catalog} (${result})")
  endif()
endforeach()
