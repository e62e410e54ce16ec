# quarn_target_defaults(TARGET): the compiler settings of every target of this project. They are private to the target:
# a project that adds this one as a subdirectory keeps its own.
function(quarn_target_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF POSITION_INDEPENDENT_CODE ON
    COMPILE_WARNING_AS_ERROR ${QUARN_WARNINGS_AS_ERRORS})
  # No contraction into fused multiply-adds: the same source gives the same digits at every optimisation level.
  target_compile_options(${target} PRIVATE -ffp-contract=off
    # g++ 12 warns falsely of overlapping copies in "literal" + std::string (GCC bug 105651); clang-tidy, which reads
    # these options too, does not know that warning.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict -Wno-unknown-warning-option>
    # Deleting through a base without a virtual destructor is an error of -Wall; deriving from one, which the models and
    # estimators are made for, is none.
    -Wall -Wextra -Wshadow -Wconversion -Wextra-semi -Wmissing-declarations)
  # The same bytes wherever it is built: no paths of this machine in what will be installed. Debuggers need them.
  target_compile_options(${target} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=>)
  set_target_properties(${target} PROPERTIES BUILD_RPATH_USE_ORIGIN ON)
  if(QUARN_NATIVE)
    target_compile_options(${target} PRIVATE -march=native)
  endif()
  if(QUARN_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${QUARN_SANITIZE} -fno-sanitize-recover=all
      -fno-omit-frame-pointer -O1 -g1)  # reports need lines alone, and all of the rest takes a third of the compilation
    target_link_options(${target} PRIVATE -fsanitize=${QUARN_SANITIZE})
  endif()
endfunction()

# quarn_library_defaults(TARGET FILE): of the libraries that are installed, file name, versions, and what is exported.
function(quarn_library_defaults target file)
  quarn_target_defaults(${target})
  # The soname is the minor version as long as that may break the binary interface.
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ${file}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
    DEFINE_SYMBOL ""
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL SHARED_LIBRARY)
    # Visible types of other libraries bring symbols along that no attribute here can hide.
    set(exports ${PROJECT_SOURCE_DIR}/cmake/exports.map)
    target_link_options(${target} PRIVATE LINKER:--version-script=${exports})
    set_property(TARGET ${target} PROPERTY LINK_DEPENDS ${exports})
  endif()
endfunction()
