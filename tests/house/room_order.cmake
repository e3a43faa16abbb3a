# Holds the order of the rooms, from the includes of their files.
# Usage: cmake -DROOT=DIRECTORY -P room_order.cmake
cmake_minimum_required(VERSION 3.22)

# A room of the core includes its own headers and those of the rooms before it.
set(core frame rows solver primitives resample image curves filters detail mask)

set(violations "")

# Each header of this project that FILE includes begins with one of the further arguments.
macro(check_includes file)
  set(allowed ${ARGN})
  list(TRANSFORM allowed PREPEND "^")
  list(JOIN allowed "|" allowed)
  file(STRINGS "${ROOT}/${file}" lines REGEX "^ *# *include *[\"<](kestrova|photo|apps|python|examples|tests|bench)/")
  foreach(line ${lines})
    string(REGEX REPLACE "^ *# *include *[\"<]([^\">]*)[\">].*" "\\1" header "${line}")
    if(NOT header MATCHES "${allowed}")
      list(APPEND violations "${file} includes ${header}")
    endif()
  endforeach()
endmacro()

macro(list_sources directory)
  file(GLOB_RECURSE sources RELATIVE "${ROOT}" "${ROOT}/${directory}/*.h" "${ROOT}/${directory}/*.cpp")
endmacro()

# kestrova/frame/vendor_types.h exports nothing, but its records are arguments of what does.
set(installed kestrova/kestrova.h kestrova/export.h)
if(EXISTS "${ROOT}/kestrova/frame/vendor_types.h")
  list(APPEND installed kestrova/frame/vendor_types.h)
endif()
set(up_to_here kestrova/export.h)
foreach(room ${core})
  list(APPEND up_to_here "kestrova/${room}/")
  list_sources("kestrova/${room}")
  foreach(file ${sources})
    check_includes("${file}" ${up_to_here})
    file(STRINGS "${ROOT}/${file}" exports REGEX "KESTROVA_EXPORT " LIMIT_COUNT 1)
    if(exports)
      list(APPEND installed "${file}")
    endif()
  endforeach()
endforeach()

# All else includes what is installed, as a host does; so do the installed headers themselves.
foreach(file ${installed})
  check_includes("${file}" ${installed})
endforeach()
foreach(part photo apps python examples)
  # The Python module has the domain transform compiled in, which the library does not export.
  set(compiled_in "")
  if(part STREQUAL "python")
    set(compiled_in kestrova/detail/domain_transform.h)
  endif()
  list_sources("${part}")
  foreach(file ${sources})
    check_includes("${file}" ${installed} ${compiled_in} "${part}/" photo/)
  endforeach()
endforeach()

# A room without a place in the order would not be looked at.
file(GLOB rooms RELATIVE "${ROOT}/kestrova" "${ROOT}/kestrova/*")
foreach(room ${rooms})
  if(IS_DIRECTORY "${ROOT}/kestrova/${room}" AND NOT room IN_LIST core)
    list(APPEND violations "kestrova/${room} has no place in the order")
  endif()
endforeach()

foreach(violation ${violations})
  message(NOTICE "${violation}")
endforeach()
if(violations)
  message(FATAL_ERROR "The rooms include one another in this order: ${core}. All else includes installed headers.")
endif()
