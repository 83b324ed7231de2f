# What `cmake --install` puts where: libraries, headers, and what pkg-config and CMake find them by.
# All of it works from wherever the installed tree is moved to; folders that were given by absolute
# paths stay where they are.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(qz_include_dir "${CMAKE_INSTALL_INCLUDEDIR}/qz")
set(qz_cmake_dir "${CMAKE_INSTALL_LIBDIR}/cmake/qz")

# Installs a library, its public header in a folder named as its own, and its pkg-config file.
#
# usage: qz_install_library(TARGET EXPORT_NAME HEADER)
function(qz_install_library target export_name header)
  get_filename_component(folder "${CMAKE_CURRENT_SOURCE_DIR}" NAME)
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${export_name})
  qz_set_install_rpath(${target} "$ORIGIN")
  install(TARGETS ${target} EXPORT qz
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    INCLUDES DESTINATION "${qz_include_dir}")
  install(FILES ${header} DESTINATION "${qz_include_dir}/${folder}")

  qz_pkg_config_folders()
  configure_file(${target}.pc.in "${PROJECT_BINARY_DIR}/${target}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${target}.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endfunction()

# Sets where an installed target looks for libraries. A path that leads there in the build tree, too, is
# the target's from the start: else CMake fills that of the build tree up with empty entries, which mean
# the working folder.
function(qz_set_install_rpath target path)
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "${path}")
  set(build_tree_paths "$ORIGIN" "$ORIGIN/../lib")
  if(path IN_LIST build_tree_paths AND NOT CMAKE_SKIP_INSTALL_RPATH)
    set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON)
  endif()
endfunction()

# Sets what a pkg-config file says of its folders, seen from where the file itself is.
function(qz_pkg_config_folders)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(prefix "${CMAKE_INSTALL_PREFIX}")
    set(libdir "${CMAKE_INSTALL_LIBDIR}")
  else()
    file(RELATIVE_PATH up "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
    string(REGEX REPLACE "/$" "" up "${up}")
    set(prefix "\${pcfiledir}/${up}")
    set(libdir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
  endif()
  if(IS_ABSOLUTE "${qz_include_dir}")
    set(includedir "${qz_include_dir}")
  else()
    set(includedir "\${prefix}/${qz_include_dir}")
  endif()
  set(QZ_PC_PREFIX "${prefix}" PARENT_SCOPE)
  set(QZ_PC_LIBDIR "${libdir}" PARENT_SCOPE)
  set(QZ_PC_INCLUDEDIR "${includedir}" PARENT_SCOPE)
endfunction()

# Installs a program, which finds the libraries where they are, seen from itself.
function(qz_install_program target)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(libraries "${CMAKE_INSTALL_LIBDIR}")
  else()
    file(RELATIVE_PATH up "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_PREFIX}")
    set(libraries "$ORIGIN/${up}${CMAKE_INSTALL_LIBDIR}")
  endif()
  qz_set_install_rpath(${target} "${libraries}")
  install(TARGETS ${target} RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endfunction()

# Installs the CMake package `qz` of all libraries that were installed.
function(qz_install_package)
  install(EXPORT qz NAMESPACE qz:: FILE qzTargets.cmake DESTINATION "${qz_cmake_dir}")
  configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/qzConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/qzConfig.cmake" INSTALL_DESTINATION "${qz_cmake_dir}")
  write_basic_package_version_file("${PROJECT_BINARY_DIR}/qzConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
  install(
    FILES "${PROJECT_BINARY_DIR}/qzConfig.cmake" "${PROJECT_BINARY_DIR}/qzConfigVersion.cmake"
    DESTINATION "${qz_cmake_dir}")
endfunction()

# Installs what there is to read.
function(qz_install_documents)
  install(FILES README.md CHANGELOG.md LICENSE DESTINATION "${CMAKE_INSTALL_DOCDIR}")
  install(DIRECTORY docs DESTINATION "${CMAKE_INSTALL_DOCDIR}"
    FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.pml" PATTERN man EXCLUDE PATTERN doxygen EXCLUDE)
endfunction()
