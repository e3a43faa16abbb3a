# Holds that README.md shows the hosts of docs/use/readme.cpp and docs/use/photo.cpp, which are built and run, word for
# word.
# Usage: cmake -DROOT=DIRECTORY -P readme_host.cmake
cmake_minimum_required(VERSION 3.22)
file(READ "${ROOT}/README.md" readme)
foreach(name readme photo)
  file(READ "${ROOT}/docs/use/${name}.cpp" source)
  string(REGEX REPLACE ".*//! \\[use\\]\n(.*)//! \\[use\\]\n.*" "\\1" host "${source}")
  string(FIND "${readme}" "```cpp\n${host}```\n" at)
  if(host STREQUAL source OR at EQUAL -1)
    message(FATAL_ERROR "README.md does not show the host of docs/use/${name}.cpp as it stands")
  endif()
endforeach()
