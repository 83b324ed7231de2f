# What holds for every target: language, build type, folders of the build tree, warnings, and paths
# that do not depend on where the tree lies.
set(CMAKE_CXX_STANDARD 17 CACHE STRING "C++ standard, 17 or later")
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")

set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
add_link_options(LINKER:--enable-new-dtags)

# Source positions and debug information read the same on every machine. Where both match, the
# compiler takes the last.
add_compile_options(
  "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/="
  "-ffile-prefix-map=${PROJECT_BINARY_DIR}=build")

add_library(qz_warnings INTERFACE)
target_compile_options(qz_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  -Wcast-align -Wcast-qual -Wdouble-promotion -Wformat=2 -Wmissing-declarations -Wnon-virtual-dtor
  -Wold-style-cast -Woverloaded-virtual -Wundef -Wunused
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-branches -Wduplicated-cond -Wlogical-op -Wuseless-cast>
  $<$<BOOL:${QZ_WARNINGS_AS_ERRORS}>:-Werror>)

if(QZ_SANITIZE)
  # The vptr check needs type information that the libraries hide.
  add_compile_options(-fsanitize=${QZ_SANITIZE} -fno-sanitize=vptr -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${QZ_SANITIZE})
endif()
if(QZ_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# A shared library that exports what its version script lists and nothing else, and that can be
# unloaded: unique symbols would bind it to the process.
function(qz_add_shared_library name version_script)
  add_library(${name} SHARED ${ARGN})
  set_target_properties(${name} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    LINK_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${version_script}")
  # Boost's checks of shared ownership stay, whatever the build type defines.
  target_compile_options(${name} PRIVATE -UNDEBUG $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
  target_link_options(${name} PRIVATE
    "LINKER:--version-script=${CMAKE_CURRENT_SOURCE_DIR}/${version_script}")
  if(NOT QZ_SANITIZE) # whose run-time library only the program links
    target_link_options(${name} PRIVATE LINKER:--no-undefined)
  endif()
  target_link_libraries(${name} PRIVATE qz_warnings)
endfunction()
