# Runs PROGRAM, with ARGUMENT unless that is empty; it must succeed and print what stands in the file EXPECTED, byte for byte but for elapsed times.
execute_process(COMMAND ${PROGRAM} ${ARGUMENT} OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE status)
file(READ ${EXPECTED} expected)
foreach(text output expected)
  string(REGEX REPLACE "(Elapsed time \\(sec\\.\\):) *[0-9.]+" "\\1" ${text} "${${text}}")
endforeach()
if(NOT status EQUAL 0 OR NOT errors STREQUAL "" OR NOT output STREQUAL expected)
  message(FATAL_ERROR "Exit status ${status}\n${errors}Printed:\n${output}Expected:\n${expected}")
endif()
