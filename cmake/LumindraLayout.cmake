# Where things go when installed, and the build tree's mirror of it. Programs find their data
# (translations, icons) relative to their own folder, so the same binary works from the build
# tree, from /usr and from a prefix that was moved after installing.
include(GNUInstallDirs)

set(LUMINDRA_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/lumindra)
set(LUMINDRA_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/LumindraWorkspace)
set(LUMINDRA_INSTALL_TRANSLATIONSDIR ${CMAKE_INSTALL_DATADIR}/lumindra/translations)

file(RELATIVE_PATH LUMINDRA_DATA_FROM_BIN ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_DATADIR})
file(RELATIVE_PATH LUMINDRA_LIB_FROM_BIN ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})

# build/bin holds the programs; build/share (or wherever DATADIR lies from BINDIR) their data.
get_filename_component(LUMINDRA_BUILD_DATADIR ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${LUMINDRA_DATA_FROM_BIN} ABSOLUTE)
