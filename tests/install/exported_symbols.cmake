# Holds that the shared library exports what interface.txt lists, and nothing else.
# Usage: cmake -DLIBRARY=libkestrova.so -DNM=nm -P exported_symbols.cmake
cmake_minimum_required(VERSION 3.25)
file(STRINGS "${CMAKE_CURRENT_LIST_DIR}/interface.txt" interface REGEX "^[^#]")

execute_process(COMMAND "${NM}" --dynamic --defined-only --demangle "${LIBRARY}"
                OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "[abi:cxx11]" "" listing "${listing}")
string(REGEX REPLACE "std::vector<([a-zA-Z:]+), std::allocator<[a-zA-Z:]+> ?>" "std::vector<\\1>" listing "${listing}")
string(REGEX REPLACE "(^|\n)[0-9a-f]+ [A-Za-z] " "\\1" listing "${listing}")
string(STRIP "${listing}" listing)
string(REPLACE "\n" ";" exported "${listing}")

set(missing ${interface})
list(REMOVE_ITEM missing ${exported})
foreach(name ${missing})
  message(SEND_ERROR "not exported: ${name}")
endforeach()
list(REMOVE_ITEM exported ${interface})
foreach(name ${exported})
  message(SEND_ERROR "leaks: ${name}")
endforeach()
