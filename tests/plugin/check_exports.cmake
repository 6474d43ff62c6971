# A plugin binary may export lv2_descriptor and nothing else: any other
# dynamic symbol can clash with the host or another plugin.
#   cmake -DNM=nm -DBINARY=<plugin .so> -P check_exports.cmake
execute_process(COMMAND ${NM} -D --defined-only ${BINARY}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm -D ${BINARY} failed: ${err}")
endif()
string(REGEX MATCHALL "[^\n]+" lines "${out}")
set(exported)
foreach(line IN LISTS lines)
  string(REGEX REPLACE "^[0-9a-fA-F]* *[A-Za-z] " "" symbol "${line}")
  list(APPEND exported "${symbol}")
endforeach()
message("nm -D --defined-only: ${exported}")
if(NOT exported STREQUAL "lv2_descriptor")
  message(FATAL_ERROR "the plugin must export exactly lv2_descriptor, it exports: ${exported}")
endif()
