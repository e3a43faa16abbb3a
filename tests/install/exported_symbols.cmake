# Holds that the shared library exports the documented interface and nothing else.
# Usage: cmake -DLIBRARY=libkestrova.so -DNM=nm -P exported_symbols.cmake
execute_process(COMMAND "${NM}" --dynamic --defined-only --demangle "${LIBRARY}"
                OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)

# One operation of each documented class, and each documented function.
set(interface
  "Kestrova::toQDebug(" "Kestrova::m_tDebug_p" "TProgress::progress()" "TSize::isEmpty() const" "TPoint::TPoint("
  "TRect::origin() const" "TUpdateRect::setChanged(" "TImRegion::TImRegion(")
foreach(name ${interface})
  string(FIND "${listing}" " ${name}" at)
  if(at EQUAL -1)
    message(SEND_ERROR "not exported: ${name}")
  endif()
endforeach()

# Every exported symbol begins with a name of the library's own.
string(REPLACE "\n" ";" lines "${listing}")
set(own "(Kestrova|T[A-Z][A-Za-z0-9]+)::|(down|up)Size[2N]X|extendBorder\\(")
set(own "${own}|(vtable|typeinfo|typeinfo name) for T[A-Z][A-Za-z0-9]+$")
foreach(line ${lines})
  if(line AND NOT line MATCHES "^[0-9a-f]+ [A-Za-z] (${own})")
    message(SEND_ERROR "leaks: ${line}")
  endif()
endforeach()
