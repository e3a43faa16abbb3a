# Holds that a shared library exports what its list of the interface says, and nothing else, each name under a version.
# Usage: cmake -DLIBRARY=libkestrova.so -DINTERFACE=interface.txt -DNODE=KESTROVA -DNM=nm -P exported_symbols.cmake
# NM is that of binutils; llvm-nm knows no symbol versions.
cmake_minimum_required(VERSION 3.22)
file(STRINGS "${INTERFACE}" interface REGEX "^[^#]")

execute_process(COMMAND "${NM}" --dynamic --defined-only --with-symbol-versions --demangle "${LIBRARY}"
                OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "[abi:cxx11]" "" listing "${listing}")
string(REGEX REPLACE "std::vector<([a-zA-Z: ]+), std::allocator<[a-zA-Z: ]+> ?>" "std::vector<\\1>" listing "${listing}")
string(REPLACE "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >" "std::string"
       listing "${listing}")
string(REGEX REPLACE "(^|\n)[0-9a-f]+ [A-Za-z] " "\\1" listing "${listing}")
string(STRIP "${listing}" listing)
string(REPLACE "\n" ";" listing "${listing}")

set(exported "")
list(FILTER listing EXCLUDE REGEX "^${NODE}_[0-9.]+(@.*)?$")  # the version itself
foreach(symbol ${listing})
  string(REGEX REPLACE "@@${NODE}_[0-9.]+$" "" name "${symbol}")
  if(name STREQUAL symbol)
    message(SEND_ERROR "without a version: ${symbol}")
  endif()
  list(APPEND exported "${name}")
endforeach()

set(missing ${interface})
list(REMOVE_ITEM missing ${exported})
foreach(name ${missing})
  message(SEND_ERROR "not exported: ${name}")
endforeach()
list(REMOVE_ITEM exported ${interface})
foreach(name ${exported})
  message(SEND_ERROR "leaks: ${name}")
endforeach()
