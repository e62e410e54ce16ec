# The libraries that libQuarn_comp itself stands on. Everything comes from the system's packages.
find_package(Eigen3 3.4 REQUIRED NO_MODULE)
find_package(Boost 1.74 REQUIRED COMPONENTS thread date_time)

# wxWidgets, wrapped once: Quarn_wx carries its include directories, definitions and libraries.
if(QUARN_WX_CORE)
  find_package(wxWidgets 3.2 REQUIRED COMPONENTS core net base)
else()
  find_package(wxWidgets 3.2 REQUIRED COMPONENTS net base)
endif()
add_library(Quarn_wx INTERFACE)
target_include_directories(Quarn_wx SYSTEM INTERFACE ${wxWidgets_INCLUDE_DIRS})
target_compile_definitions(Quarn_wx INTERFACE ${wxWidgets_DEFINITIONS})
target_link_libraries(Quarn_wx INTERFACE ${wxWidgets_LIBRARIES})
