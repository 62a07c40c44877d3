# What is installed besides the targets themselves: how other projects find the framework, and how
# the installed programs find it. Included when every target is known.
include(CMakePackageConfigHelpers)

set(HOQ_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/hoq)
set(HOQ_INSTALL_PLUGINDIR ${CMAKE_INSTALL_LIBDIR}/hoq/plugins)

# The way from one installed directory to another, so that the whole can be moved.
function(hoq_way_between result from to)
  file(RELATIVE_PATH way ${CMAKE_INSTALL_PREFIX}/${from} ${CMAKE_INSTALL_PREFIX}/${to})
  set(${result} ${way} PARENT_SCOPE)
endfunction()

hoq_way_between(bin_to_lib ${CMAKE_INSTALL_BINDIR} ${CMAKE_INSTALL_LIBDIR})
hoq_way_between(plugins_to_lib ${HOQ_INSTALL_PLUGINDIR} ${CMAKE_INSTALL_LIBDIR})
set_target_properties(hoq PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
set_target_properties(HOQFileManagerLocal PROPERTIES INSTALL_RPATH "$ORIGIN/${plugins_to_lib}")

install(EXPORT hoqTargets NAMESPACE hoq:: DESTINATION ${HOQ_INSTALL_CMAKEDIR})
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/hoqConfig.cmake.in ${PROJECT_BINARY_DIR}/hoqConfig.cmake
  INSTALL_DESTINATION ${HOQ_INSTALL_CMAKEDIR}
  PATH_VARS HOQ_INSTALL_PLUGINDIR)
# Until 1.0 a minor version may change what plugins are compiled against.
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/hoqConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/hoqConfig.cmake ${PROJECT_BINARY_DIR}/hoqConfigVersion.cmake
  DESTINATION ${HOQ_INSTALL_CMAKEDIR})

hoq_way_between(HOQ_PC_TO_PREFIX ${CMAKE_INSTALL_LIBDIR}/pkgconfig .)
configure_file(${CMAKE_CURRENT_LIST_DIR}/hoq.pc.in ${PROJECT_BINARY_DIR}/hoq.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/hoq.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
