# Components, each a package of its own: core and photo (the shared libraries), dev (headers, configuration, both), tools.
include(CMakePackageConfigHelpers)

# A header that exports nothing is internal and stays at home, but for the records in the exported classes' arguments;
# none that is installed includes an internal one.
set(installed_headers kestrova/kestrova.h kestrova/export.h kestrova/frame/vendor_types.h)
foreach(header ${kestrova_headers})
  file(STRINGS "${header}" exports REGEX "KESTROVA_EXPORT " LIMIT_COUNT 1)
  if(exports AND NOT header STREQUAL "kestrova/export.h")
    list(APPEND installed_headers "${header}")
  endif()
endforeach()
foreach(header ${installed_headers})
  get_filename_component(room "${header}" DIRECTORY)
  install(FILES "${header}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${room}" COMPONENT dev)
endforeach()

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/kestrova")
install(TARGETS kestrova EXPORT kestrova_targets LIBRARY COMPONENT core NAMELINK_COMPONENT dev)
install(EXPORT kestrova_targets NAMESPACE kestrova:: FILE kestrovaTargets.cmake DESTINATION "${package_dir}"
        COMPONENT dev)
configure_package_config_file(cmake/kestrovaConfig.cmake.in "${CMAKE_CURRENT_BINARY_DIR}/kestrovaConfig.cmake"
                              INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/kestrovaConfigVersion.cmake"
                                 COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/kestrovaConfig.cmake"
              "${CMAKE_CURRENT_BINARY_DIR}/kestrovaConfigVersion.cmake"
              cmake/FindKestrovaOpenCV.cmake
        DESTINATION "${package_dir}" COMPONENT dev)

# The pkg-config file finds its prefix from its own place, so that an installed tree can be moved.
file(RELATIVE_PATH pc_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" pc_to_prefix "${pc_to_prefix}")
configure_file(cmake/kestrova.pc.in "${CMAKE_CURRENT_BINARY_DIR}/kestrova.pc" @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/kestrova.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
        COMPONENT dev)
