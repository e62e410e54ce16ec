# What is installed: libraries, public headers, the command, and the packages for CMake and pkg-config. An installation
# can be moved: its files name each other by relative paths, unless the directories of GNUInstallDirs are absolute.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The headers have a root of their own: <samplers/...> is too general a name for the system's include directory.
set(quarn_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/quarn-${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(quarn_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Quarn)

# quarn_install_library(TARGET): public headers are the target's file set HEADERS.
function(quarn_install_library target)
  install(TARGETS ${target} EXPORT QuarnTargets
    RUNTIME COMPONENT Runtime
    LIBRARY COMPONENT Runtime NAMELINK_COMPONENT Development
    ARCHIVE COMPONENT Development
    FILE_SET HEADERS DESTINATION ${quarn_include_dir} COMPONENT Development)
endfunction()

# quarn_install_pkg_config(NAME DESCRIPTION REQUIRES CFLAGS LIBS). There is no Libs.private: public headers use Boost and
# wxWidgets inline, so that an application links them itself, with a shared library too.
function(quarn_install_pkg_config name description requires cflags libs)
  set(prefix ${CMAKE_INSTALL_PREFIX})
  if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    string(REGEX REPLACE "[^/]+" ".." up ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
    set(prefix "\${pcfiledir}/${up}")
  endif()
  set(libdir ${CMAKE_INSTALL_LIBDIR})
  set(includedir ${quarn_include_dir})
  foreach(dir IN ITEMS libdir includedir)
    if(NOT IS_ABSOLUTE "${${dir}}")
      string(PREPEND ${dir} "\${prefix}/")
    endif()
  endforeach()
  list(JOIN cflags " " cflags)
  list(JOIN libs " " libs)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/quarn.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)
endfunction()

# wxWidgets and Boost have no files for pkg-config.
get_target_property(definitions quarn INTERFACE_COMPILE_DEFINITIONS)
get_target_property(wx_definitions Quarn::wx INTERFACE_COMPILE_DEFINITIONS)
get_target_property(wx_includes Quarn::wx INTERFACE_INCLUDE_DIRECTORIES)
get_target_property(wx_libraries Quarn::wx INTERFACE_LINK_LIBRARIES)
list(TRANSFORM definitions PREPEND -D)
list(TRANSFORM wx_definitions PREPEND -D)
list(TRANSFORM wx_includes PREPEND -I)

quarn_install_library(quarn)
quarn_install_pkg_config(quarn "${PROJECT_DESCRIPTION}" "eigen3 >= 3.4"
  "${definitions};${wx_definitions};${wx_includes};-pthread"
  "-lQuarn_comp;-lboost_thread;-lboost_date_time;${wx_libraries};-pthread")
if(TARGET quarn_samplers)
  quarn_install_library(quarn_samplers)
  set_target_properties(quarn_samplers PROPERTIES EXPORT_NAME samplers INSTALL_RPATH $ORIGIN)
  quarn_install_pkg_config(quarn-samplers "Samplers and models on libQuarn_comp" "quarn = ${PROJECT_VERSION}"
    "" -lQuarn_samplers)
endif()
if(TARGET quarn_command)
  file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(quarn_command PROPERTIES INSTALL_RPATH $ORIGIN/${bin_to_lib})
  install(TARGETS quarn_command RUNTIME COMPONENT Runtime)
endif()

install(EXPORT QuarnTargets NAMESPACE Quarn:: DESTINATION ${quarn_package_dir} COMPONENT Development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/QuarnConfig.cmake.in ${PROJECT_BINARY_DIR}/QuarnConfig.cmake
  INSTALL_DESTINATION ${quarn_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QuarnConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/QuarnConfig.cmake
  ${PROJECT_BINARY_DIR}/QuarnConfigVersion.cmake
  ${PROJECT_SOURCE_DIR}/cmake/QuarnWx.cmake
  DESTINATION ${quarn_package_dir} COMPONENT Development)
