# Installs the built library into a private prefix, then configures, builds and runs the consumer
# project against it. Called by ctest with BUILD_DIR, SOURCE_DIR, CONFIG and CXX.
set(prefix ${BUILD_DIR}/consumer-install)
set(work ${BUILD_DIR}/consumer-build)
file(REMOVE_RECURSE ${prefix} ${work})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

if(NOT CONFIG)
  set(CONFIG Release)
endif()
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} --config ${CONFIG})
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${work} -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_BUILD_TYPE=${CONFIG})
run(${CMAKE_COMMAND} --build ${work} --config ${CONFIG})
run(${work}/consumer)
message(STATUS "${last_output}")
if(NOT last_output MATCHES "consumer ok")
  message(FATAL_ERROR "consumer printed: ${last_output}")
endif()
execute_process(COMMAND ${work}/consumer_io WORKING_DIRECTORY ${work} RESULT_VARIABLE rc OUTPUT_VARIABLE out
                ERROR_VARIABLE err)
message(STATUS "${out}${err}")
if(NOT rc EQUAL 0 OR NOT out MATCHES "consumer io ok")
  message(FATAL_ERROR "consumer_io printed: ${out}${err}")
endif()
