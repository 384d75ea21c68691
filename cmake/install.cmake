# Headers, library, CMake package and pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS ravokit EXPORT ravokitTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/ravokit DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(EXPORT ravokitTargets NAMESPACE ravokit:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ravokit)

set(config_dir ${PROJECT_BINARY_DIR}/cmake)
file(WRITE ${config_dir}/ravokitConfig.cmake "include(\${CMAKE_CURRENT_LIST_DIR}/ravokitTargets.cmake)\n")
block()
  if(RAVOKIT_32BIT)
    set(CMAKE_SIZEOF_VOID_P 4)  # the package is for 32-bit programs; CMake knows the compiler's default only
  endif()
  write_basic_package_version_file(${config_dir}/ravokitConfigVersion.cmake COMPATIBILITY SameMajorVersion)
endblock()
install(FILES ${config_dir}/ravokitConfig.cmake ${config_dir}/ravokitConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ravokit)

# ravokit.pc tells the folders from its own place, so that the tree can move; folders given as absolute paths stay.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
else()
  file(RELATIVE_PATH pc_up /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  string(REGEX REPLACE "/$" "" pc_prefix "\${pcfiledir}/${pc_up}")
endif()
foreach(dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(pc_${dir} ${CMAKE_INSTALL_${dir}})
  else()
    set(pc_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
configure_file(cmake/ravokit.pc.in ${config_dir}/ravokit.pc @ONLY)
install(FILES ${config_dir}/ravokit.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
