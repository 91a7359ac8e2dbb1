# The installed CMake package: find_package(LumindraWorkspace) gives Lumindra::Workspace, which
# brings the platform libraries, their include folder and the external packages they need.
include(CMakePackageConfigHelpers)

install(EXPORT LumindraWorkspaceTargets
        NAMESPACE Lumindra::
        DESTINATION ${LUMINDRA_INSTALL_CMAKEDIR})

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/LumindraWorkspaceConfig.cmake.in
  ${CMAKE_BINARY_DIR}/package/LumindraWorkspaceConfig.cmake
  INSTALL_DESTINATION ${LUMINDRA_INSTALL_CMAKEDIR}
  PATH_VARS LUMINDRA_INSTALL_TRANSLATIONSDIR)
# 0.x releases may change the interface from one minor version to the next.
write_basic_package_version_file(
  ${CMAKE_BINARY_DIR}/package/LumindraWorkspaceConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/package/LumindraWorkspaceConfig.cmake
              ${CMAKE_BINARY_DIR}/package/LumindraWorkspaceConfigVersion.cmake
        DESTINATION ${LUMINDRA_INSTALL_CMAKEDIR})
