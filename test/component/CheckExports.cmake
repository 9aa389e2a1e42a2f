# Fails unless LIBRARY exports exactly the component's four entry points.
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
  OUTPUT_VARIABLE listing RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "${NM} cannot read ${LIBRARY}")
endif()
string(REGEX REPLACE "[0-9a-f]+ ([A-Za-z]) ([^\n]+)\n" "\\1 \\2;" exported "${listing}")
list(REMOVE_ITEM exported "")
list(SORT exported)
set(expected "T DllCanUnloadNow" "T DllGetClassObject" "T DllRegisterServer"
             "T DllUnregisterServer")
if(NOT exported STREQUAL expected)
  message(FATAL_ERROR "exported: ${exported}\nexpected: ${expected}")
endif()
