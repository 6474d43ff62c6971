# Validates the bundle's Turtle against the LV2 schemas Debian installs
# (lv2_validate runs sord_validate over them). Fails on any error or
# warning, whatever the exit code says.
#   cmake -DVALIDATE=lv2_validate -DBUNDLE=<dir> -P validate_turtle.cmake
file(GLOB turtle ${BUNDLE}/*.ttl)
execute_process(COMMAND ${VALIDATE} ${turtle}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
message("${out}${err}")
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "lv2_validate exited with ${rc}")
endif()
if(NOT out MATCHES "Found 0 errors")
  message(FATAL_ERROR "lv2_validate did not report 0 errors")
endif()
if("${out}${err}" MATCHES "[Ww]arning")
  message(FATAL_ERROR "lv2_validate warned about the bundle")
endif()
