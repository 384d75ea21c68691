# Installs the built tree, moves it, and builds and runs the outside program against it: once through the CMake package,
# once through pkg-config. Moving it shows that nothing remembers where it was installed.
#
#     cmake -D BUILD_DIR= -D CONFIG= -D OUTSIDE_DIR= -D STAGE_DIR= -D LIBDIR= -D C_COMPILER= -D C_FLAGS= -P installed.cmake
#
# LIBDIR is relative to the prefix.
cmake_minimum_required(VERSION 3.25)

set(prefix ${STAGE_DIR}/prefix)
file(REMOVE_RECURSE ${STAGE_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --config ${CONFIG} --prefix ${STAGE_DIR}/first
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${STAGE_DIR}/first ${prefix})

# The CMake package. It finds the library by the path it was linked with.
set(build ${STAGE_DIR}/package)
execute_process(COMMAND ${CMAKE_COMMAND} -S ${OUTSIDE_DIR} -B ${build} -D CMAKE_BUILD_TYPE=${CONFIG}
  -D CMAKE_PREFIX_PATH=${prefix} -D CMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
  -D CMAKE_C_COMPILER=${C_COMPILER} -D CMAKE_C_FLAGS=${C_FLAGS} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${build} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${build}/outside COMMAND_ERROR_IS_FATAL ANY)
# What was installed of the codec modules is found beside the library.
if(EXISTS ${prefix}/${LIBDIR}/libRavokit.Codecs.Fax.so)
  execute_process(COMMAND ${build}/outside 1 COMMAND_ERROR_IS_FATAL ANY)
endif()
if(EXISTS ${prefix}/${LIBDIR}/libRavokit.Codecs.Photo.so)
  execute_process(COMMAND ${build}/outside 24 COMMAND_ERROR_IS_FATAL ANY)
endif()
file(STRINGS ${build}/CMakeCache.txt found REGEX "^ravokit_DIR:")
if(NOT found MATCHES "=${prefix}/")
  message(FATAL_ERROR "another installation was found: ${found}")
endif()

find_program(PKG_CONFIG pkg-config)
if(NOT PKG_CONFIG)
  message("skipped: there is no pkg-config")
  return()
endif()
set(ENV{PKG_CONFIG_LIBDIR} ${prefix}/${LIBDIR}/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{LD_LIBRARY_PATH} ${prefix}/${LIBDIR})
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs ravokit
  OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags}")
separate_arguments(own_flags UNIX_COMMAND "${C_FLAGS}")
set(program ${STAGE_DIR}/pkg-config-outside)
execute_process(COMMAND ${C_COMPILER} -std=c11 ${own_flags} ${OUTSIDE_DIR}/main.c -o ${program} ${flags}
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${program} COMMAND_ERROR_IS_FATAL ANY)
