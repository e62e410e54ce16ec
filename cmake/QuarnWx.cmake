# quarn_find_wx(CORE [REQUIRED | QUIET]): makes the target Quarn::wx, which is wxWidgets wrapped once for the build and for
# the installed package; with its core library if CORE is true. There is no target if wxWidgets is not found.
# A function, so that an application's own find_package(wxWidgets), with other components, keeps its variables.
function(quarn_find_wx with_core)
  if(TARGET Quarn::wx)
    return()
  endif()
  set(core)
  if(with_core)
    set(core core)
  endif()
  find_package(wxWidgets 3.2 ${ARGN} COMPONENTS ${core} net base)
  if(wxWidgets_FOUND)
    add_library(Quarn::wx INTERFACE IMPORTED)
    target_include_directories(Quarn::wx INTERFACE ${wxWidgets_INCLUDE_DIRS})
    target_compile_definitions(Quarn::wx INTERFACE ${wxWidgets_DEFINITIONS})
    target_link_libraries(Quarn::wx INTERFACE ${wxWidgets_LIBRARIES})
  endif()
endfunction()
