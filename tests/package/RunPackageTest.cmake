# cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -DPHOTO=... -DDESKTOP_FILE_VALIDATE=...
#       [-DCOMPILER_LAUNCHER=...] -P RunPackageTest.cmake
# Installs the build into a fresh prefix and moves the prefix elsewhere (an install must not
# depend on where it was made), then uses it as a person's desktop and a host project would:
# the editor starts from it with no library path and in German, a host project finds the CMake
# package, builds, and opens, edits and saves a picture through the module, and the desktop
# entry is valid.
foreach(var BUILD_DIR SOURCE_DIR WORK_DIR PHOTO)
  if(NOT DEFINED ${var} OR "${${var}}" STREQUAL "")
    message(FATAL_ERROR "RunPackageTest.cmake needs -D${var}=...")
  endif()
endforeach()

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${what} failed (${result}):\n${out}\n${err}")
  endif()
  set(run_output "${out}${err}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR}/home)
set(staging ${WORK_DIR}/staging)
set(prefix ${WORK_DIR}/moved-prefix)
run("Installing" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${staging})
file(RENAME ${staging} ${prefix})

foreach(file bin/lumindra
             share/applications/lumindra.desktop
             share/icons/hicolor/scalable/apps/lumindra.svg
             share/icons/hicolor/256x256/apps/lumindra.png
             share/lumindra/translations/lumindra_de.qm
             share/lumindra/translations/lumindraworkspace_de.qm
             lib/cmake/LumindraWorkspace/LumindraWorkspaceConfig.cmake
             include/lumindra/LumindraWorkspace/WorkspaceControllerHelper.h
             include/lumindra/photocore/IPhotoCore.h)
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "Not installed: ${file}")
  endif()
endforeach()
# libvips' header needs libvips' own include folders, which the package does not bring.
if(EXISTS ${prefix}/include/lumindra/proc/Vips.h)
  message(FATAL_ERROR "A private header was installed: proc/Vips.h")
endif()

# Every library of the project resolves inside the moved prefix, not in the build tree.
set(clean_env ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH HOME=${WORK_DIR}/home)
run("ldd" ${clean_env} ldd ${prefix}/bin/lumindra)
string(REGEX MATCHALL "libLumindra[^\n]*" resolved "${run_output}")
if(NOT resolved)
  message(FATAL_ERROR "lumindra links no library of the project?\n${run_output}")
endif()
foreach(line IN LISTS resolved)
  if(NOT line MATCHES "=> ${prefix}/")
    message(FATAL_ERROR "Resolved outside the prefix: ${line}")
  endif()
endforeach()
if(run_output MATCHES "not found")
  message(FATAL_ERROR "Unresolved libraries:\n${run_output}")
endif()

run("The installed editor" ${clean_env} LANG=de_DE.UTF-8 LANGUAGE=de_DE
    ${prefix}/bin/lumindra --screenshot ${WORK_DIR}/editor.png --size 800x600 ${PHOTO})
if(NOT EXISTS ${WORK_DIR}/editor.png)
  message(FATAL_ERROR "The installed editor wrote no screenshot")
endif()

if(NOT DESKTOP_FILE_VALIDATE)
  message(FATAL_ERROR "desktop-file-validate is missing: run scripts/install-deps.sh")
endif()
run("desktop-file-validate" ${DESKTOP_FILE_VALIDATE} ${prefix}/share/applications/lumindra.desktop)
if(NOT run_output STREQUAL "")
  message(FATAL_ERROR "desktop-file-validate complains:\n${run_output}")
endif()

set(host_args)
if(COMPILER_LAUNCHER)
  list(APPEND host_args -DCMAKE_CXX_COMPILER_LAUNCHER=${COMPILER_LAUNCHER})
endif()
run("Configuring the host" ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package/host -B ${WORK_DIR}/host
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release ${host_args})
run("Building the host" ${CMAKE_COMMAND} --build ${WORK_DIR}/host)
run("The host" ${clean_env} ${WORK_DIR}/host/lumindra-host ${PHOTO} ${WORK_DIR}/saved.jpg)
message(STATUS "${run_output}")
