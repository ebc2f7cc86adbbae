# examples/slow.html is what wireprint writes for examples/slow.trace:
#   cmake -DWIREPRINT=... -DEXAMPLES=.../examples -DOUT=file -P check_example.cmake
execute_process(COMMAND ${CMAKE_COMMAND} -E env TZ=UTC ${WIREPRINT} -report ${OUT} -o /dev/null
                        slow.trace
                WORKING_DIRECTORY ${EXAMPLES} RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "wireprint -report exited with ${rc}")
endif()
file(READ ${OUT} got)
file(READ ${EXAMPLES}/slow.html want)
if(NOT got STREQUAL want)
  message(FATAL_ERROR "examples/slow.html differs from the report of examples/slow.trace; "
                      "regenerate it as the README says")
endif()
