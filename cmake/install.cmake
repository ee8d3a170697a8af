# Installs the library: its static libraries, the public headers and a CMake package, so that
# another project can write find_package(xtalmotif) and link xtalmotif::xtalmotif.
#
# The public headers are xtalmotif.h and every header it reaches through its #include lines; any
# other header of the tree is internal and stays behind.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

function(xtalmotif_public_headers out)
  set(todo xtalmotif.h)
  set(seen "")
  while(todo)
    list(POP_FRONT todo header)
    if(header IN_LIST seen OR NOT EXISTS ${PROJECT_SOURCE_DIR}/${header})
      continue()
    endif()
    list(APPEND seen ${header})
    file(STRINGS ${PROJECT_SOURCE_DIR}/${header} lines REGEX "^#include \"[a-z_/]+\\.h\"")
    foreach(line IN LISTS lines)
      string(REGEX REPLACE "^#include \"([a-z_/]+\\.h)\".*" "\\1" used "${line}")
      list(APPEND todo ${used})
    endforeach()
  endwhile()
  set(${out} ${seen} PARENT_SCOPE)
endfunction()

xtalmotif_public_headers(_public)
foreach(header IN LISTS _public)
  get_filename_component(dir ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${XTALMOTIF_INCLUDE_DIR}/${dir})
endforeach()

install(TARGETS ${XTALMOTIF_LAYERS} xtalmotif EXPORT xtalmotifTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
set(_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/xtalmotif)
install(EXPORT xtalmotifTargets NAMESPACE xtalmotif:: DESTINATION ${_package_dir})
configure_package_config_file(cmake/xtalmotifConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/xtalmotifConfig.cmake INSTALL_DESTINATION ${_package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/xtalmotifConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/xtalmotifConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/xtalmotifConfigVersion.cmake
        DESTINATION ${_package_dir})
