# Run by CPack on the packages that it has made: what its own generator cannot say. Multi-Arch by package; of a library
# the trigger that updates the loader's cache, in place of scripts that do so themselves.
set(multiarch_same ^lib)
set(multiarch_foreign "^kestrova-(tools|doc)$")
foreach(file ${CPACK_PACKAGE_FILES})
  set(tree "${CPACK_TEMPORARY_DIRECTORY}/finished")
  file(REMOVE_RECURSE "${tree}")
  execute_process(COMMAND dpkg-deb --raw-extract "${file}" "${tree}" COMMAND_ERROR_IS_FATAL ANY)

  file(READ "${tree}/DEBIAN/control" control)
  string(REGEX MATCH "^Package: ([^\n]*)" package "${control}")
  set(package "${CMAKE_MATCH_1}")
  foreach(kind same foreign)
    if(package MATCHES "${multiarch_${kind}}")
      string(REGEX REPLACE "(\nArchitecture: [^\n]*)" "\\1\nMulti-Arch: ${kind}" control "${control}")
      file(WRITE "${tree}/DEBIAN/control" "${control}")
    endif()
  endforeach()

  if(EXISTS "${tree}/DEBIAN/shlibs")
    file(REMOVE "${tree}/DEBIAN/postinst" "${tree}/DEBIAN/postrm")
    file(WRITE "${tree}/DEBIAN/triggers" "activate-noawait ldconfig\n")
  endif()
  execute_process(COMMAND dpkg-deb -Zxz --root-owner-group --build "${tree}" "${file}"
                  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
