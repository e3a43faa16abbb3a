# Run by CPack between installing the components and packing them: adds to each package what Debian's rules ask for.
foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER "${component}" key)
  set(package "${CPACK_DEBIAN_${key}_PACKAGE_NAME}")
  set(root "${CPACK_TEMPORARY_DIRECTORY}/${component}")
  set(doc "${root}/usr/share/doc/${package}")

  file(COPY "${CPACK_KESTROVA_PACKAGING_DIR}/copyright" "${CPACK_KESTROVA_CHANGELOG}" DESTINATION "${doc}")
  file(GLOB_RECURSE pages "${root}/usr/share/man/*")
  execute_process(COMMAND gzip -9nf "${doc}/changelog" ${pages} COMMAND_ERROR_IS_FATAL ANY)

  set(overrides "${CPACK_KESTROVA_PACKAGING_DIR}/lintian/${package}")
  if(EXISTS "${overrides}")
    file(COPY "${overrides}" DESTINATION "${root}/usr/share/lintian/overrides")
  endif()
endforeach()
